// Controllers of disks and the disks. Of a MegaRAID SAS controller what it says itself, asked
// through its driver, else the SMBIOS firmware inventory.

#include <fmt/format.h>

#include <array>
#include <charconv>

#include "collect/firmware_device.h"
#include "collect/linux/linux_collector.h"

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

// LSI SAS controllers of the Fusion-MPT family: the host attributes of the drivers mptsas, mpt2sas
// and mpt3sas (Linux, drivers/message/fusion/mptscsih.c and drivers/scsi/mpt3sas/mpt3sas_ctl.c).

namespace {

bool IsMptDriver(std::string_view name) {
  constexpr std::array<std::string_view, 3> kDrivers = {"mptsas", "mpt2sas", "mpt3sas"};
  for (const std::string_view driver : kDrivers) {
    if (name == driver) return true;
  }
  return false;
}

// A controller without a BIOS tells version 0 of it.
bool IsVersion(std::string_view text) {
  return text.find_first_not_of("0.") != std::string_view::npos;
}

void AddElement(const TTree& tree, const std::string& host, const char* kind, const char* className,
                const std::string& attribute, TInventory& inventory) {
  const std::string version = tree.ReadLine(host + "/" + attribute);
  if (!IsVersion(version)) {
    inventory.Note(host + "/" + attribute + ": the controller tells no version; left out");
    return;
  }
  const std::string product = tree.ReadLine(host + "/version_product");
  const std::string board = tree.ReadLine(host + "/board_name");
  inventory.Add(TInstance(className)
                    .Set("Name", (board.empty() ? product : board) + kind)
                    .Set("ProductID", product)
                    .Set("Version", version));
}

}  // namespace

void ReadMpt(const TMachine& machine, TInventory& inventory) {
  for (const std::string& name : machine.tree.List(kScsiHosts)) {
    const std::string host = std::string(kScsiHosts) + "/" + name;
    if (!IsMptDriver(machine.tree.ReadLine(host + "/proc_name"))) continue;
    AddElement(machine.tree, host, " Firmware", "QRXSG_LSIFirmwareElement", "version_fw",
               inventory);
    AddElement(machine.tree, host, " BIOS", "QRXSG_LSIBIOSElement", "version_bios", inventory);
  }
}

// Disks of any kind: NVMe controllers (Linux, drivers/nvme/host/sysfs.c and Documentation/ABI/
// testing/sysfs-bus-pci), and disks that speak SCSI, or ATA behind it (Documentation/ABI/testing/
// sysfs-block-device, Documentation/scsi/; drivers/scsi/scsi_sysfs.c).

namespace {

constexpr const char* kNvme = "/sys/class/nvme";
constexpr const char* kScsiDisks = "/sys/class/scsi_disk";

// A text of the IDENTIFY DEVICE data (ATA, ACS-4, 7.13.6): two letters a word, the second one
// first.
std::string AtaText(std::string_view identity, std::size_t word, std::size_t words) {
  std::string text;
  for (std::size_t at = 2 * word; at < 2 * (word + words) && at + 1 < identity.size(); at += 2) {
    text += identity[at + 1];
    text += identity[at];
  }
  return CleanText(text);
}

struct TAtaIdentity {
  std::string model;
  std::string revision;
};

// From the page "ATA Information" (SAT-4, 12.4.2): INQUIRY cuts the model to 16 letters and the
// revision to 4.
TAtaIdentity AtaIdentity(const TTree& tree, const std::string& device) {
  constexpr std::size_t kIdentity = 60;
  const TRead page = tree.Read(device + "/vpd_pg89");
  if (page.bytes.size() < kIdentity + 512 || page.bytes[1] != '\x89') return {};
  const std::string_view identity = std::string_view(page.bytes).substr(kIdentity);
  return {AtaText(identity, 27, 20), AtaText(identity, 23, 4)};
}

void AddScsiDisk(const TTree& tree, const std::string& device, TInventory& inventory) {
  const std::string vendor = tree.ReadLine(device + "/vendor");
  const std::string model = tree.ReadLine(device + "/model");
  const std::string revision = tree.ReadLine(device + "/rev");
  if (vendor == kAtaVendor) {
    if (const TAtaIdentity identity = AtaIdentity(tree, device); !identity.model.empty())
      return AddDevice(AtaDisk(identity.model, identity.revision), inventory);
  }
  if (!revision.empty()) AddDevice(ScsiDisk(vendor, model, revision), inventory);
}

}  // namespace

TPciNumbers ReadPciNumbers(const TTree& tree, const std::string& device) {
  return {tree.ReadLine(device + "/vendor"), tree.ReadLine(device + "/device"),
          tree.ReadLine(device + "/subsystem_vendor"), tree.ReadLine(device + "/subsystem_device")};
}

void ReadDisks(const TMachine& machine, TInventory& inventory) {
  const TTree& tree = machine.tree;
  for (const std::string& name : tree.List(kNvme)) {
    const std::string controller = std::string(kNvme) + "/" + name;
    const std::string revision = tree.ReadLine(controller + "/firmware_rev");
    if (revision.empty()) continue;
    AddDevice(NvmeDisk(tree.ReadLine(controller + "/model"), revision,
                       ReadPciNumbers(tree, controller + "/device")),
              inventory);
  }
  for (const std::string& name : tree.List(kScsiDisks))
    AddScsiDisk(tree, std::string(kScsiDisks) + "/" + name + "/device", inventory);
}

}  // namespace svc::collect
