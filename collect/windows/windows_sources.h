// What a Windows machine answers, as instances of the host's classes. Pure but for what it asks the
// machine; one thread.
#ifndef COLLECT_WINDOWS_WINDOWS_SOURCES_H_
#define COLLECT_WINDOWS_WINDOWS_SOURCES_H_

#include <string>
#include <vector>

#include "collect/cim_xml.h"
#include "collect/collector.h"
#include "collect/windows/windows_machine.h"

namespace svc::collect {

// Namespaces of the management service: what every system has, and what drivers add.
inline constexpr const char* kCimSpace = "root\\cimv2";
inline constexpr const char* kDriverSpace = "root\\WMI";

// Reads everything. With `redact`, serial number and UUID are left out.
TInventory ReadWindowsMachine(const IWindowsMachine& machine, bool redact);

// Asks for each thing that ReadWindowsMachine reads.
std::vector<SourceState> TryWindowsSources(const IWindowsMachine& machine);

// Where the file of a driver lies: "\SystemRoot\…", "\??\C:\…", "system32\…" and "C:\…" are forms
// of a service's path; one without a path is "system32\drivers\NAME.sys".
std::string DriverFile(const TDriverService& driver, const std::string& systemRoot);

// The drivers of the running system by its service control manager, and the versions of their
// files. Any thread.

// As IWindowsMachine says of its operations.
TAnswer<std::vector<TDriverService>> DriverServices();
std::string VersionOfFile(const std::string& path);

}  // namespace svc::collect

#endif  // COLLECT_WINDOWS_WINDOWS_SOURCES_H_
