// Disks of any kind: NVMe controllers (Linux, drivers/nvme/host/sysfs.c and Documentation/ABI/
// testing/sysfs-bus-pci), and disks that speak SCSI, or ATA behind it (Documentation/ABI/testing/
// sysfs-block-device, Documentation/scsi/; drivers/scsi/scsi_sysfs.c).
#include "collect/firmware_device.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {
namespace {

constexpr const char* kNvme = "/sys/class/nvme";
constexpr const char* kScsiDisks = "/sys/class/scsi_disk";
constexpr std::string_view kAta = "ATA";

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

// A text of a fixed number of letters, as ids of IDE devices have them.
std::string Padded(std::string text, std::size_t size) {
  for (char& letter : text) {
    if (letter == ' ') letter = '_';
  }
  text.resize(size, '_');
  return text;
}

void AddAtaDisk(const TAtaIdentity& identity, TInventory& inventory) {
  const std::string model = Padded(identity.model, 40);
  AddDevice({identity.model,
             "",
             identity.revision,
             "",
             {"IDE\\" + model + Padded(identity.revision, 8), "IDE\\0" + model, identity.model},
             "scsi"},
            inventory);
}

void AddScsiDisk(const TTree& tree, const std::string& device, TInventory& inventory) {
  const std::string vendor = tree.ReadLine(device + "/vendor");
  const std::string model = tree.ReadLine(device + "/model");
  const std::string revision = tree.ReadLine(device + "/rev");
  if (vendor == kAta) {
    if (const TAtaIdentity identity = AtaIdentity(tree, device); !identity.model.empty())
      return AddAtaDisk(identity, inventory);
  }
  if (revision.empty()) return;
  const std::string id = "SCSI\\VEN_" + IdPart(vendor) + "&DEV_" + IdPart(model);
  AddDevice({model,
             vendor == kAta ? "" : vendor,
             revision,
             "",
             {id + "&REV_" + IdPart(revision), id},
             "scsi"},
            inventory);
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
    const std::string model = tree.ReadLine(controller + "/model");
    const std::string revision = tree.ReadLine(controller + "/firmware_rev");
    if (revision.empty()) continue;
    auto identifiers = PciIdentifiers("NVME", ReadPciNumbers(tree, controller + "/device"));
    if (!model.empty()) identifiers.push_back(model);
    AddDevice({model, "", revision, "", std::move(identifiers), "nvme"}, inventory);
  }
  for (const std::string& name : tree.List(kScsiDisks))
    AddScsiDisk(tree, std::string(kScsiDisks) + "/" + name + "/device", inventory);
}

}  // namespace svc::collect
