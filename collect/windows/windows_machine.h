// A Windows machine as the sources see it: what its management service, its service control manager
// and the files of its drivers answer.
//
// One thread at a time. No operation throws for what a machine says or keeps to itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "collect/cim_xml.h"
#include "collect/collector.h"

namespace svc::collect {

// What was asked for; `problem` says why it could not be had and is empty when it could.
template <typename TValue>
struct TAnswer {
  TValue value;
  std::string problem;
};

// The properties of an instance that have a value, by their names, as UTF-8.
using TRow = std::map<std::string, std::string>;

// Keys of the registry by their names, each with its values as texts: numbers in decimal, of
// several texts one a line, binary data as they are.
using TKeys = std::map<std::string, TRow>;

struct TDriverService {
  std::string name;
  std::string path;    // As the service was registered; empty where it takes the default.
  unsigned state = 0;  // SERVICE_STATUS.dwCurrentState: 1 stopped, 4 running.
};

// More devices of a kind than any machine has; what is told of more is left out.
inline constexpr std::size_t kMostDevices = 4096;

class IWindowsMachine {
 public:
  virtual ~IWindowsMachine() = default;

  // The instances of a WMI class in a namespace such as "root\cimv2".
  virtual TAnswer<std::vector<TRow>> Instances(const std::string& space,
                                               const std::string& className) const = 0;
  // The response of the management controller to an IPMI command without data, its completion code
  // first. Empty, without a problem, where the machine has no controller.
  virtual TAnswer<std::string> AskController(std::uint8_t function, std::uint8_t command) const = 0;
  // The keys directly below a key of HKEY_LOCAL_MACHINE; none, without a problem, where it lacks.
  // Not more than one above kMostDevices, and without values of more than 4,096 bytes.
  virtual TAnswer<TKeys> Keys(const std::string& path) const = 0;
  // The services of type SERVICE_DRIVER, running or not.
  virtual TAnswer<std::vector<TDriverService>> Drivers() const = 0;
  // The version that the resources of a file state, such as "6.1.7601.17514"; empty without one.
  virtual std::string FileVersion(const std::string& path) const = 0;
  // The folder that \SystemRoot means, without a separator at its end.
  virtual std::string SystemRoot() const = 0;
};

// The machine that this program runs on.
std::unique_ptr<IWindowsMachine> ThisWindowsMachine();

// "access is denied (error 5)": an error or result code in the system's words. Any thread.
std::string SystemProblem(unsigned long code);

// --- Its answers as instances of the host's classes. Pure but for what they ask the machine; one
// thread. ---

// Namespaces of the management service: what every system has, and what drivers add.
inline constexpr const char* kCimSpace = "root\\cimv2";
inline constexpr const char* kDriverSpace = "root\\WMI";

// What tells of firmware in general: a class, and keys of HKEY_LOCAL_MACHINE.
inline constexpr const char* kDisks = "Win32_DiskDrive";
inline constexpr const char* kResourceTable = "HARDWARE\\UEFI\\ESRT";
inline constexpr const char* kProcessorKeys = "HARDWARE\\DESCRIPTION\\System\\CentralProcessor";

// A key of HKEY_LOCAL_MACHINE as people write it.
std::string RegistryPlace(const std::string& path);

// Reads everything. With `redact`, serial number and UUID are left out.
TInventory ReadWindowsMachine(const IWindowsMachine& machine, bool redact);

// Adds firmware of disks, of processors and of the EFI system resource table, each as an
// SVC_FirmwareDevice of the form that it has on Linux.
void AddWindowsFirmware(const IWindowsMachine& machine, TInventory& inventory);

// Asks for each thing that ReadWindowsMachine reads.
std::vector<SourceState> TryWindowsSources(const IWindowsMachine& machine);

// Where the file of a driver lies: "\SystemRoot\…", "\??\C:\…", "system32\…" and "C:\…" are forms
// of a service's path; one without a path is "system32\drivers\NAME.sys".
std::string DriverFile(const TDriverService& driver, const std::string& systemRoot);

// As IWindowsMachine says of its operations: the drivers of the running system by its service
// control manager, and the versions of their files. Any thread.
TAnswer<std::vector<TDriverService>> DriverServices();
std::string VersionOfFile(const std::string& path);
TAnswer<TKeys> RegistryKeys(const std::string& path);

}  // namespace svc::collect
