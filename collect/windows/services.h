// The drivers of the running system by its service control manager, and the versions of their
// files. Any thread.
#ifndef COLLECT_WINDOWS_SERVICES_H_
#define COLLECT_WINDOWS_SERVICES_H_

#include "collect/windows/windows_machine.h"

namespace svc::collect {

// As IWindowsMachine says of its operations.
TAnswer<std::vector<TDriverService>> DriverServices();
std::string VersionOfFile(const std::string& path);

}  // namespace svc::collect

#endif  // COLLECT_WINDOWS_SERVICES_H_
