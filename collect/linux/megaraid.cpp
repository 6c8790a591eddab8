// MegaRAID SAS controllers: the controller itself, asked through its driver, else the SMBIOS
// firmware inventory.
#include "collect/linux/megaraid.h"

#include <fmt/format.h>

#include <charconv>

#include "collect/linux/machine.h"

namespace svc::collect {
namespace {

constexpr const char* kClass = "QRXSG_MegaLSIFWPackageBuildFirmwareElement";

// The number at the end of "host3".
std::optional<unsigned> HostNumber(std::string_view name) {
  constexpr std::string_view kPrefix = "host";
  unsigned number = 0;
  if (!name.starts_with(kPrefix)) return {};
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + kPrefix.size(), end, number);
  if (error != std::errc() || stop != end) return {};
  return number;
}

void Add(const std::string& product, const std::string& version, TInventory& inventory) {
  inventory.Add(
      TInstance(kClass).Set("Name", product).Set("Description", product).Set("Version", version));
}

void AddAsked(const TMachine& machine, const std::string& name, TInventory& inventory) {
  const std::optional<unsigned> number = HostNumber(name);
  if (!number) return;
  std::string problem = "its firmware is told by the running controller only";
  if (machine.tree.IsLive()) {
    const auto controller = AskRaidController(machine.tree, *number, problem);
    if (controller && !controller->package.empty()) {
      Add(controller->product, controller->package, inventory);
      return;
    }
    if (controller) problem = "the controller tells no package version";
  }
  inventory.Note(fmt::format("{}/{}: MegaRAID controller: {}", kScsiHosts, name, problem));
}

void AddTold(const TMachine& machine, TInventory& inventory) {
  for (const TFirmwareComponent& component : machine.smbios.FirmwareComponents()) {
    const std::string name = Lowered(component.name);
    if (!Contains(name, "raid") && !Contains(name, "arrayon")) continue;
    Add(component.name, component.version, inventory);
  }
}

}  // namespace

std::optional<TRaidController> ParseControllerInfo(std::string_view info) {
  constexpr std::size_t kProductName = 0x540, kProductNameSize = 80;
  constexpr std::size_t kPackageVersion = 0x640, kPackageVersionSize = 0x60;
  if (info.size() < kPackageVersion + kPackageVersionSize) return {};
  return TRaidController{CleanText(info.substr(kProductName, kProductNameSize)),
                         CleanText(info.substr(kPackageVersion, kPackageVersionSize))};
}

void ReadMegaRaid(const TMachine& machine, TInventory& inventory) {
  for (const std::string& name : machine.tree.List(kScsiHosts)) {
    const std::string driver =
        machine.tree.ReadLine(std::string(kScsiHosts) + "/" + name + "/proc_name");
    if (driver == "megaraid_sas") AddAsked(machine, name, inventory);
  }
  if (!inventory.Holds(kClass)) AddTold(machine, inventory);
}

}  // namespace svc::collect
