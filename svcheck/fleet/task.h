// One machine of a fleet, as it goes from whoever reads the inventories to whoever compares it.
#ifndef SVCHECK_FLEET_TASK_H_
#define SVCHECK_FLEET_TASK_H_

#include <string>

namespace svc::fleet {

struct TTask {
  enum class EInventory : char {
    kFile,      // `text` is the path of a CIM-XML file, which may be compressed.
    kDocument,  // `text` is a CIM-XML document.
    kNone       // There is none; `text` says why.
  };

  std::string machine;
  EInventory inventory = EInventory::kFile;
  std::string text;
};

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_TASK_H_
