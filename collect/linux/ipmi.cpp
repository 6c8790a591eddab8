// Management controllers: the attributes of the kernel's IPMI handler (Linux, Documentation/ABI/
// testing/sysfs-devices-platform-ipmi), else the controller itself; their name and build where the
// SMBIOS firmware inventory or the auxiliary revision tells them.
#include "collect/ipmi.h"

#include <fmt/format.h>

#include <array>

#include "collect/linux/machine.h"

namespace svc::collect {
namespace {

constexpr const char* kFolder = "/sys/devices/platform";
constexpr const char* kDevice = "/dev/ipmi0";
constexpr std::uint8_t kIpmiDevice = 38;

// "0x01 0x00 0x2a 0x00" as "01002a00"; all zero says nothing.
std::string Auxiliary(const std::string& line) {
  std::string digits;
  for (const std::string& word : Words(line)) {
    if (word.size() == 4 && word.starts_with("0x")) digits += word.substr(2);
  }
  return digits.find_first_not_of('0') == std::string::npos ? std::string() : digits;
}

std::vector<TManagementController> ControllersInSysfs(const TMachine& machine,
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

std::vector<TManagementController> ControllersAsked(const TMachine& machine,
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

bool IsManagementController(const TFirmwareComponent& component) {
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

TInstance Element(std::string_view name, std::string_view build, std::string_view version) {
  TInstance element("QRXSG_SPROMFirmwareVPDMain");
  element.Set("Name", name).Set("BuildNumber", build).Set("Version", version);
  return element;
}

// The firmware inventory knows the controller's own name; what IPMI tells knows its build only.
void AddElements(const TMachine& machine, const std::vector<TManagementController>& controllers,
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

}  // namespace

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

}  // namespace svc::collect
