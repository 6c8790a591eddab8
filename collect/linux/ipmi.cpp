// Management controllers: the attributes of the kernel's IPMI handler (Linux, Documentation/ABI/
// testing/sysfs-devices-platform-ipmi), else the controller itself; their name and build where the
// SMBIOS firmware inventory or the auxiliary revision tells them.
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <array>
#include <cerrno>
#include <cstring>

#include "collect/firmware_device.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {

constexpr const char* kFolder = "/sys/devices/platform";
constexpr const char* kDevice = "/dev/ipmi0";
constexpr std::uint8_t kIpmiDevice = 38;

// "0x01 0x00 0x2a 0x00" as "01002a00"; all zero says nothing.
static std::string Auxiliary(const std::string& line) {
  std::string digits;
  for (const std::string& word : Words(line)) {
    if (word.size() == 4 && word.starts_with("0x")) digits += word.substr(2);
  }
  return digits.find_first_not_of('0') == std::string::npos ? std::string() : digits;
}

static std::vector<TManagementController> ControllersInSysfs(const TMachine& machine,
                                                             TInventory& inventory) {
  std::vector<TManagementController> controllers;
  for (const std::string& name : machine.tree.List(kFolder)) {
    if (!name.starts_with("ipmi_bmc.")) continue;
    const std::string folder = std::string(kFolder) + "/" + name;
    const std::string revision = machine.tree.ReadLine(folder + "/firmware_revision");
    if (revision.empty()) {
      inventory.Note(folder + "/firmware_revision: no revision of the management controller");
      continue;
    }
    controllers.push_back({BcdVersion(revision),
                           Auxiliary(machine.tree.ReadLine(folder + "/aux_firmware_revision"))});
  }
  return controllers;
}

static std::vector<TManagementController> ControllersAsked(const TMachine& machine,
                                                           TInventory& inventory) {
  std::string problem;
  if (machine.tree.IsLive()) {
    if (const auto controller = AskManagementController(kDevice, problem)) return {*controller};
  }
  if (!problem.empty()) {
    inventory.Note(fmt::format("{}: {}; the management controller is left out", kDevice, problem));
  } else if (machine.smbios.First(kIpmiDevice) != nullptr) {
    inventory.Note(fmt::format(
        "{}/ipmi_bmc.*: the machine has a management controller, but its driver is not loaded "
        "(modprobe ipmi_si); left out",
        kFolder));
  }
  return {};
}

static bool IsManagementController(const TFirmwareComponent& component) {
  constexpr std::array<std::string_view, 5> kNames = {"management controller", "management module",
                                                      "management processor", "control processor",
                                                      "remote watch"};
  const std::string name = Lowered(component.name);
  for (const std::string& word : Words(name)) {
    if (word == "bmc") return true;
  }
  for (const std::string_view known : kNames) {
    if (Contains(name, known)) return true;
  }
  return false;
}

static TInstance Element(std::string_view name, std::string_view build, std::string_view version) {
  TInstance element("QRXSG_SPROMFirmwareVPDMain");
  element.Set("Name", name).Set("BuildNumber", build).Set("Version", version);
  return element;
}

// The firmware inventory knows the controller's own name; what IPMI tells knows its build only.
static void AddElements(const TMachine& machine,
                        const std::vector<TManagementController>& controllers,
                        TInventory& inventory) {
  for (const TFirmwareComponent& component : machine.smbios.FirmwareComponents()) {
    if (!IsManagementController(component)) continue;
    inventory.Add(Element(component.name, component.id, component.version));
  }
  if (inventory.Holds("QRXSG_SPROMFirmwareVPDMain")) return;
  for (const TManagementController& controller : controllers) {
    if (controller.auxiliary.empty()) continue;
    inventory.Add(Element(kManagementControllerName, controller.auxiliary, controller.version));
  }
}

std::string BcdVersion(std::string_view revision) {
  const std::size_t dot = revision.find('.');
  if (dot == std::string_view::npos) return std::string(revision);
  std::string version(revision);
  if (version.size() - dot == 2) version.insert(dot + 1, 1, '0');
  return version;
}

void ReadManagementControllers(const TMachine& machine, TInventory& inventory) {
  std::vector<TManagementController> controllers = ControllersInSysfs(machine, inventory);
  if (controllers.empty()) controllers = ControllersAsked(machine, inventory);
  for (const TManagementController& controller : controllers) {
    inventory.Add(TInstance("QRXSG_IPMIFirmwareElement")
                      .Set("Name", kManagementControllerName)
                      .Set("Version", controller.version));
  }
  AddElements(machine, controllers, inventory);
}

// Get Device ID through the character device of the kernel's IPMI handler (linux/ipmi.h; Linux,
// Documentation/driver-api/ipmi.rst).

constexpr unsigned char kNetFnApplication = 0x06;
constexpr unsigned char kGetDeviceId = 0x01;
constexpr int kTimeoutMs = 3000;
constexpr long kMessageId = 0x5653;

static int Send(int device) {
  ipmi_system_interface_addr address{};
  address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
  address.channel = IPMI_BMC_CHANNEL;
  ipmi_req request{};
  request.addr = reinterpret_cast<unsigned char*>(&address);
  request.addr_len = sizeof address;
  request.msgid = kMessageId;
  request.msg.netfn = kNetFnApplication;
  request.msg.cmd = kGetDeviceId;
  return ::ioctl(device, IPMICTL_SEND_COMMAND, &request);
}

static int Receive(int device, std::string& response) {
  std::array<unsigned char, IPMI_MAX_MSG_LENGTH> data{};
  ipmi_addr address{};
  ipmi_recv message{};
  message.addr = reinterpret_cast<unsigned char*>(&address);
  message.addr_len = sizeof address;
  message.msg.data = data.data();
  message.msg.data_len = data.size();
  const int result = ::ioctl(device, IPMICTL_RECEIVE_MSG_TRUNC, &message);
  if (result == 0) response.assign(data.begin(), data.begin() + message.msg.data_len);
  return result;
}

std::optional<TManagementController> AskManagementController(const char* device,
                                                             std::string& problem) {
  const TDescriptor file(::open(device, O_RDWR | O_CLOEXEC | O_NONBLOCK));
  std::string response;
  if (!file) {
    if (errno != ENOENT && errno != ENXIO && errno != ENODEV) problem = WhyNot(errno);
    return {};
  }
  pollfd ready{file.Get(), POLLIN, 0};
  if (Send(file.Get()) != 0) {
    problem = std::string("the request was refused: ") + std::strerror(errno);
  } else if (::poll(&ready, 1, kTimeoutMs) != 1) {
    problem = "no answer within 3 seconds";
  } else if (Receive(file.Get(), response) != 0) {
    problem = std::string("the answer cannot be read: ") + std::strerror(errno);
  } else if (auto controller = ParseDeviceId(response)) {
    return controller;
  } else {
    problem = "the controller refused to tell its revision";
  }
  return {};
}

}  // namespace svc::collect
