// Broadcom network devices: found by their PCI ids, their firmware asked of the driver.
#include <fmt/format.h>

#include "collect/linux/machine.h"
#include "collect/linux/netlink.h"

namespace svc::collect {
namespace {

constexpr const char* kPciDevices = "/sys/bus/pci/devices";
constexpr std::string_view kBroadcom = "0x14e4";
constexpr std::string_view kNetworkClass = "0x02";

struct TNetworkDevice {
  std::string address;        // "0000:01:00.0"
  std::string id;             // vendor and device, "14e41657"
  std::string interfaceName;  // empty without a driver
};

std::vector<TNetworkDevice> NetworkDevices(const TTree& tree) {
  std::vector<TNetworkDevice> devices;
  for (const std::string& address : tree.List(kPciDevices)) {
    const std::string folder = std::string(kPciDevices) + "/" + address;
    if (tree.ReadLine(folder + "/vendor") != kBroadcom) continue;
    if (!tree.ReadLine(folder + "/class").starts_with(kNetworkClass)) continue;
    const std::string device = tree.ReadLine(folder + "/device");
    const std::vector<std::string> interfaces = tree.List(folder + "/net");
    devices.push_back({address,
                       std::string(kBroadcom.substr(2)) + device.substr(device.find('x') + 1),
                       interfaces.empty() ? std::string() : interfaces.front()});
  }
  return devices;
}

// The firmware as a whole where the driver tells of it, else the part that others know it by.
std::string FirmwareVersion(const TNetworkDevice& device) {
  const auto versions = DevlinkRunningVersions("pci", device.address);
  for (const char* name : {"fw", "fw.mgmt", "fw.app"}) {
    if (const auto found = versions.find(name); found != versions.end()) return found->second;
  }
  return device.interfaceName.empty() ? std::string()
                                      : EthtoolFirmwareVersion(device.interfaceName);
}

std::string WhyMissing(const TMachine& machine, const TNetworkDevice& device) {
  if (!machine.tree.IsLive()) return "its firmware is told by the running driver only";
  return device.interfaceName.empty() ? "no driver is bound to it"
                                      : "its driver tells no firmware version";
}

}  // namespace

void ReadBroadcom(const TMachine& machine, TInventory& inventory) {
  for (const TNetworkDevice& device : NetworkDevices(machine.tree)) {
    const std::string version = machine.tree.IsLive() ? FirmwareVersion(device) : std::string();
    if (version.empty()) {
      inventory.Note(fmt::format("{}/{}: Broadcom network device: {}; left out", kPciDevices,
                                 device.address, WhyMissing(machine, device)));
      continue;
    }
    const std::string& name = device.interfaceName.empty() ? device.address : device.interfaceName;
    inventory.Add(TInstance("QRXSG_BcmDeviceFirmwareElement")
                      .Set("Name", name)
                      .Set("SoftwareElementID", device.id)
                      .Set("Version", version));
  }
}

}  // namespace svc::collect
