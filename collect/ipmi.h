// What a management controller answers to the IPMI command Get Device ID (IPMI 2.0, 20.1).
#ifndef COLLECT_IPMI_H_
#define COLLECT_IPMI_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace svc::collect {

inline constexpr const char* kManagementControllerName = "Baseboard Management Controller";

struct TManagementController {
  std::string version;
  // The maker's own part of the revision, as eight hexadecimal digits; empty where there is none.
  std::string auxiliary;
};

// From the data of the response, its completion code first. Nothing when the controller refused or
// the response is too short.
std::optional<TManagementController> ParseDeviceId(std::string_view response);

// "1.5", as the kernel writes major and minor, is 1.05: the minor part is BCD of two digits.
std::string BcdVersion(std::string_view revision);

// Asks the controller of this machine through a device of the kernel (linux/ipmi.h), for a few
// seconds at most. Where it gives none, `problem` says why; it stays empty where there is no such
// device.
std::optional<TManagementController> AskManagementController(const char* device,
                                                             std::string& problem);

}  // namespace svc::collect

#endif  // COLLECT_IPMI_H_
