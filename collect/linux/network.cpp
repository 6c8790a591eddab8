#include <fmt/format.h>
#include <libmnl/libmnl.h>
#include <linux/devlink.h>
#include <linux/ethtool.h>
#include <linux/genetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <utility>

#include "collect/firmware_device.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {

namespace {

struct TCloseSocket {
  void operator()(mnl_socket* socket) const { ::mnl_socket_close(socket); }
};

// A generic netlink socket for one question after the other. A kernel that stays silent is given
// up after two seconds.
class TGenericSocket {
 public:
  using TVisit = std::function<void(const nlattr&)>;

  TGenericSocket() : socket(::mnl_socket_open(NETLINK_GENERIC)) {
    constexpr timeval kTimeout{2, 0};
    if (!socket || ::mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) != 0) {
      socket.reset();
      return;
    }
    ::setsockopt(::mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &kTimeout,
                 sizeof kTimeout);
  }

  // Starts a question; its attributes are put into the message that is returned.
  nlmsghdr* Begin(std::uint16_t family, std::uint8_t command) {
    nlmsghdr* const message = ::mnl_nlmsg_put_header(buffer.data());
    message->nlmsg_type = family;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    message->nlmsg_seq = ++sequence;
    auto* const header =
        static_cast<genlmsghdr*>(::mnl_nlmsg_put_extra_header(message, sizeof(genlmsghdr)));
    header->cmd = command;
    header->version = 1;
    return message;
  }

  // Sends it and visits each attribute of the answer; none where the kernel refuses.
  void Ask(const nlmsghdr* message, TVisit visit) {
    if (!socket || ::mnl_socket_sendto(socket.get(), message, message->nlmsg_len) < 0) return;
    const unsigned port = ::mnl_socket_get_portid(socket.get());
    for (;;) {
      const ssize_t size = ::mnl_socket_recvfrom(socket.get(), buffer.data(), buffer.size());
      if (size <= 0) return;
      const int result = ::mnl_cb_run(buffer.data(), static_cast<std::size_t>(size), sequence, port,
                                      VisitMessage, &visit);
      if (result <= MNL_CB_STOP) return;
    }
  }

 private:
  static int VisitMessage(const nlmsghdr* message, void* visit) {
    return ::mnl_attr_parse(message, sizeof(genlmsghdr), VisitAttribute, visit);
  }
  static int VisitAttribute(const nlattr* attribute, void* visit) {
    (*static_cast<TVisit*>(visit))(*attribute);
    return MNL_CB_OK;
  }

  std::unique_ptr<mnl_socket, TCloseSocket> socket;
  std::array<char, 32768> buffer{};
  unsigned sequence = 0;
};

// The number that the kernel gave the family "devlink"; 0 when it has none.
std::uint16_t DevlinkFamily(TGenericSocket& socket) {
  std::uint16_t family = 0;
  nlmsghdr* const message = socket.Begin(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  ::mnl_attr_put_strz(message, CTRL_ATTR_FAMILY_NAME, DEVLINK_GENL_NAME);
  socket.Ask(message, [&family](const nlattr& attribute) {
    const bool isNumber = ::mnl_attr_get_type(&attribute) == CTRL_ATTR_FAMILY_ID &&
                          ::mnl_attr_validate(&attribute, MNL_TYPE_U16) >= 0;
    if (isNumber) family = ::mnl_attr_get_u16(&attribute);
  });
  return family;
}

std::string AttributeText(const nlattr& attribute) {
  if (::mnl_attr_validate(&attribute, MNL_TYPE_NUL_STRING) < 0) return {};
  return ::mnl_attr_get_str(&attribute);
}

using TVersion = std::pair<std::string, std::string>;

int ReadVersionPart(const nlattr* attribute, void* version) {
  auto& [name, value] = *static_cast<TVersion*>(version);
  const auto type = ::mnl_attr_get_type(attribute);
  if (type == DEVLINK_ATTR_INFO_VERSION_NAME) name = AttributeText(*attribute);
  if (type == DEVLINK_ATTR_INFO_VERSION_VALUE) value = AttributeText(*attribute);
  return MNL_CB_OK;
}

TVersion VersionOf(const nlattr& nested) {
  TVersion version;
  ::mnl_attr_parse_nested(&nested, ReadVersionPart, &version);
  return version;
}

}  // namespace

std::map<std::string, std::string> DevlinkRunningVersions(const std::string& bus,
                                                          const std::string& device) {
  std::map<std::string, std::string> versions;
  TGenericSocket socket;
  const std::uint16_t family = DevlinkFamily(socket);
  if (family == 0) return versions;
  nlmsghdr* const message = socket.Begin(family, DEVLINK_CMD_INFO_GET);
  ::mnl_attr_put_strz(message, DEVLINK_ATTR_BUS_NAME, bus.c_str());
  ::mnl_attr_put_strz(message, DEVLINK_ATTR_DEV_NAME, device.c_str());
  socket.Ask(message, [&versions](const nlattr& attribute) {
    if (::mnl_attr_get_type(&attribute) == DEVLINK_ATTR_INFO_VERSION_RUNNING) {
      if (TVersion version = VersionOf(attribute); !version.first.empty()) {
        versions.insert(std::move(version));
      }
    }
  });
  return versions;
}

std::string EthtoolFirmwareVersion(const std::string& interfaceName) {
  const TDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ethtool_drvinfo info{};
  info.cmd = ETHTOOL_GDRVINFO;
  ifreq request{};
  if (!socket || interfaceName.size() >= sizeof request.ifr_name) return {};
  std::memcpy(request.ifr_name, interfaceName.data(), interfaceName.size());
  request.ifr_data = reinterpret_cast<char*>(&info);
  if (::ioctl(socket.Get(), SIOCETHTOOL, &request) != 0) return {};
  const std::string version = CleanText({info.fw_version, sizeof info.fw_version});
  return version == "N/A" ? std::string() : version;
}

// Network devices: found by their PCI ids, their firmware asked of the driver. Those of Broadcom
// have a class of their own.

namespace {

constexpr const char* kPciDevices = "/sys/bus/pci/devices";
constexpr std::string_view kBroadcom = "0x14e4";
constexpr std::string_view kNetworkClass = "0x02";

struct TNetworkDevice {
  std::string address;        // "0000:01:00.0"
  std::string interfaceName;  // empty without a driver
  TPciNumbers numbers;

  bool IsBroadcom() const { return numbers.vendor == kBroadcom; }
  // Vendor and device, "14e41657".
  std::string Id() const {
    return std::string(kBroadcom.substr(2)) + numbers.device.substr(numbers.device.find('x') + 1);
  }
  const std::string& Name() const { return interfaceName.empty() ? address : interfaceName; }
};

std::vector<TNetworkDevice> NetworkDevices(const TTree& tree) {
  std::vector<TNetworkDevice> devices;
  for (const std::string& address : tree.List(kPciDevices)) {
    const std::string folder = std::string(kPciDevices) + "/" + address;
    if (!tree.ReadLine(folder + "/class").starts_with(kNetworkClass)) continue;
    const std::vector<std::string> interfaces = tree.List(folder + "/net");
    devices.push_back({address, interfaces.empty() ? std::string() : interfaces.front(),
                       ReadPciNumbers(tree, folder)});
  }
  return devices;
}

// The firmware as a whole where the driver tells of it, else the part that others know it by.
struct TToldVersion {
  std::string version;  // Empty where nobody tells one.
  const char* source;
};

TToldVersion FirmwareVersion(const TNetworkDevice& device) {
  const auto versions = DevlinkRunningVersions("pci", device.address);
  for (const char* name : {"fw", "fw.mgmt", "fw.app"}) {
    if (const auto found = versions.find(name); found != versions.end())
      return {found->second, "devlink"};
  }
  // An interface without a name is none to the kernel.
  return {EthtoolFirmwareVersion(device.interfaceName), "ethtool"};
}

std::string WhyMissing(const TMachine& machine, const TNetworkDevice& device) {
  if (!machine.tree.IsLive()) return "its firmware is told by the running driver only";
  return device.interfaceName.empty() ? "no driver is bound to it"
                                      : "its driver tells no firmware version";
}

}  // namespace

void ReadBroadcom(const TMachine& machine, TInventory& inventory) {
  for (const TNetworkDevice& device : NetworkDevices(machine.tree)) {
    if (!device.IsBroadcom()) continue;
    const std::string version =
        machine.tree.IsLive() ? FirmwareVersion(device).version : std::string();
    if (version.empty()) {
      inventory.Note(fmt::format("{}/{}: Broadcom network device: {}; left out", kPciDevices,
                                 device.address, WhyMissing(machine, device)));
      continue;
    }
    inventory.Add(TInstance("QRXSG_BcmDeviceFirmwareElement")
                      .Set("Name", device.Name())
                      .Set("SoftwareElementID", device.Id())
                      .Set("Version", version));
  }
}

// Many drivers, such as those of virtual machines, have no firmware to tell of, and a captured tree
// has none of it: nothing is missing then.
void ReadNetworkDevices(const TMachine& machine, TInventory& inventory) {
  if (!machine.tree.IsLive()) return;
  std::set<std::pair<std::string, std::string>> told;  // Ports of one adapter run one firmware.
  for (const TNetworkDevice& device : NetworkDevices(machine.tree)) {
    if (device.IsBroadcom()) continue;
    const TToldVersion firmware = FirmwareVersion(device);
    const std::string adapter = device.address.substr(0, device.address.rfind('.'));
    if (firmware.version.empty() || !told.emplace(adapter, firmware.version).second) continue;
    AddDevice({device.Name(), "", firmware.version, "", PciIdentifiers("PCI", device.numbers),
               firmware.source},
              inventory);
  }
}

}  // namespace svc::collect
