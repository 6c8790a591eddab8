// What network drivers tell of the firmware that runs on their devices.
#ifndef COLLECT_LINUX_NETWORK_H_
#define COLLECT_LINUX_NETWORK_H_

#include <map>
#include <string>

namespace svc::collect {

// The running versions of a device by their names ("fw", "fw.mgmt", ...), asked of the kernel's
// devlink interface (linux/devlink.h; Linux, Documentation/networking/devlink/devlink-info.rst).
// Empty where the device, its driver or the kernel knows no devlink.
std::map<std::string, std::string> DevlinkRunningVersions(const std::string& bus,
                                                          const std::string& device);

// The firmware version of a network interface (ETHTOOL_GDRVINFO, linux/ethtool.h); empty where its
// driver tells none.
std::string EthtoolFirmwareVersion(const std::string& interfaceName);

}  // namespace svc::collect

#endif  // COLLECT_LINUX_NETWORK_H_
