// The management service of the running Windows system (WMI). A connection belongs to the thread
// that made it.
#ifndef COLLECT_WINDOWS_WMI_H_
#define COLLECT_WINDOWS_WMI_H_

#include <memory>

#include "collect/windows/windows_machine.h"

namespace svc::collect {

class TWmi {
 public:
  TWmi();
  ~TWmi();
  TWmi(const TWmi&) = delete;
  TWmi& operator=(const TWmi&) = delete;

  // As IWindowsMachine says of its operations.
  TAnswer<std::vector<TRow>> Instances(const std::string& space,
                                       const std::string& className) const;
  TAnswer<std::string> AskController(std::uint8_t function, std::uint8_t command) const;

 private:
  bool initialised;
};

}  // namespace svc::collect

#endif  // COLLECT_WINDOWS_WMI_H_
