// What plug-ins need to know of the host's own schema. May be called from any thread, with an
// inventory that no other thread uses meanwhile.
#ifndef HOST_HSKCORE_SCHEMA_HELPER_H_
#define HOST_HSKCORE_SCHEMA_HELPER_H_

#include <boost/shared_ptr.hpp>
#include <string>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace NQRXHSK20 {

class HSKCORE_API TCIMSchemaHelper {
 public:
  // The context entry that says on whose behalf a call is made, and its value for plug-ins.
  static const char* const kContextName;
  static const char* const kPluginNSPName;

  // The first non-empty "MachineType" of class "QRXSG_ComputerSystem".
  // Throws THSKException: kClassNotFound without such a class, kFailed without such a text.
  static std::string GetMachineType(const boost::shared_ptr<ICIMNamespace>& inventory);
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_SCHEMA_HELPER_H_
