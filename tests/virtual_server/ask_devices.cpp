// Asks the devices of the virtual server in the ways that the collector takes only where the kernel
// has no attribute to read: the management controller by its own command, a network driver by
// ethtool and devlink.
#include <iostream>

#include "collect/firmware_device.h"
#include "collect/linux/linux_collector.h"

int main() {
  std::string problem;
  const auto controller = svc::collect::AskManagementController("/dev/ipmi0", problem);
  std::cout << "ipmi=" << (controller ? controller->version : problem) << '\n'
            << "ethtool=" << svc::collect::EthtoolFirmwareVersion("eth0") << '\n';
  for (const auto& [name, version] : svc::collect::DevlinkRunningVersions("pci", "0000:00:00.0")) {
    std::cout << "devlink " << name << '=' << version << '\n';
  }
}
