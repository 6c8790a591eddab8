// Firmware that Windows tells of beside the host's own classes: the EFI system resource table,
// disks, and the processors' microcode.
#include <fmt/format.h>
#include <array>
#include <charconv>
#include <filesystem>
#include <optional>

#include "base/error.h"
#include "collect/cim_xml.h"
#include "collect/collector.h"
#include "collect/firmware_device.h"
#include "collect/windows/windows_machine.h"

namespace svc::collect {

namespace {

constexpr std::size_t kLongestText = 4096;

// A property, cleaned; one that is longer than any device's counts as not told.
std::string TextOf(const TRow& row, const std::string& name) {
  const auto found = row.find(name);
  if (found == row.end() || found->second.size() > kLongestText) return {};
  return CleanText(found->second);
}

// Hands over each thing that a source tells, up to as many as a machine may have.
template <typename TValue, typename TTake>
void ForEach(const TAnswer<TValue>& answer, const std::string& source, TInventory& inventory,
             TTake take) {
  if (!answer.problem.empty())
    inventory.Note(fmt::format("{}: {}; what it tells is left out", source, answer.problem));
  std::size_t left = kMostDevices;
  for (const auto& one : answer.value) {
    if (left-- == 0) {
      inventory.Note(fmt::format("{}: it tells of more than {} devices; the others are left out",
                                 source, kMostDevices));
      return;
    }
    take(one);
  }
}

// --- The EFI system resource table, as the loader of Windows copies it ---

void AddResourceTable(const IWindowsMachine& machine, TInventory& inventory) {
  ForEach(machine.Keys(kResourceTable), RegistryPlace(kResourceTable), inventory,
          [&inventory](const auto& entry) {
            const std::string guid = Guid(entry.first);
            if (guid.empty()) return;
            AddDevice(FirmwareResource(guid, TextOf(entry.second, "Type"),
                                       TextOf(entry.second, "Version")),
                      inventory);
          });
}

// --- Microcode ---

// "Intel64 Family 6 Model 158 Stepping 10"; processors that are no x86 are told in other words.
std::optional<TProcessorNumbers> NumbersOf(const std::string& identifier) {
  const std::vector<std::string> words = Words(identifier);
  constexpr std::array<const char*, 3> kNames = {"Family", "Model", "Stepping"};
  std::array<unsigned, 3> numbers{};
  if (words.size() != 7) return {};
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    const std::string& text = words[2 * i + 2];
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, numbers[i]);
    if (words[2 * i + 1] != kNames[i] || error != std::errc() || end != last) return {};
  }
  return TProcessorNumbers{numbers[0], numbers[1], numbers[2]};
}

// The register 8Bh as it is: Intel's processors tell the revision in its upper half, AMD's in the
// lower one, and the other half is zero.
std::string Revision(const TRow& values) {
  const auto found = values.find("Update Revision");
  if (found == values.end() || found->second.size() != 8) return {};
  std::uint64_t number = 0;
  for (std::size_t i = 8; i-- > 0;)
    number = number << 8U | static_cast<std::uint8_t>(found->second[i]);
  const std::uint64_t upper = number >> 32U;
  return fmt::format("{:#x}", upper != 0 ? upper : number);
}

void AddProcessors(const IWindowsMachine& machine, TInventory& inventory) {
  std::vector<TProcessor> processors;
  ForEach(machine.Keys(kProcessorKeys), RegistryPlace(kProcessorKeys), inventory,
          [&processors](const auto& key) {
            const TRow& values = key.second;
            const auto numbers = NumbersOf(TextOf(values, "Identifier"));
            if (!numbers) return;
            processors.push_back({TextOf(values, "ProcessorNameString"),
                                  TextOf(values, "VendorIdentifier"), Revision(values), numbers});
          });
  AddMicrocode(processors, inventory);
}

// --- Disks ---

// What lies between the first `before` and the next `behind`, or the end; empty without it.
std::string_view Between(std::string_view text, std::string_view before, std::string_view behind) {
  const std::size_t at = text.find(before);
  if (at == text.npos) return {};
  text.remove_prefix(at + before.size());
  return text.substr(0, text.find_first_of(behind));
}

// Ids of devices are in capitals, whatever their parts were.
std::string Raised(std::string_view text) {
  std::string raised(text);
  for (char& letter : raised) {
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
  }
  return raised;
}

// A disk's name, which its driver makes. What INQUIRY tells is vendor, product (of 16 letters) and
// a kind; what IDENTIFY tells is the model in full.
struct TDiskName {
  std::string text;
  bool isOfInquiry = false;
};

TDiskName NameOf(const TRow& row) {
  constexpr std::array<std::string_view, 3> kInquiryKinds = {" SCSI Disk Device", " USB Device",
                                                             " IEEE 1394 SBP2 Device"};
  constexpr std::string_view kAtaKind = " ATA Device";
  const std::string model = TextOf(row, "Model");
  for (const std::string_view kind : kInquiryKinds) {
    if (model.ends_with(kind)) return {model.substr(0, model.size() - kind.size()), true};
  }
  if (model.ends_with(kAtaKind)) return {model.substr(0, model.size() - kAtaKind.size())};
  return {model};
}

// The numbers in "PCI\VEN_144D&DEV_A808&SUBSYS_A801144D&REV_00", where a subsystem's device stands
// before its vendor.
TPciNumbers NumbersOfPci(std::string_view id) {
  const std::string subsystem(Between(id, "&SUBSYS_", "&\\"));
  const bool isWhole = subsystem.size() == 8;
  return {std::string(Between(id, "\\VEN_", "&\\")), std::string(Between(id, "&DEV_", "&\\")),
          isWhole ? subsystem.substr(4) : "", isWhole ? subsystem.substr(0, 4) : ""};
}

// The id in a reference such as "\\WEB02\root\cimv2:Win32_PnPEntity.DeviceID="SCSI\\DISK&…"".
std::string IdOfReference(const std::string& reference) {
  std::string id;
  std::string_view quoted = Between(reference, "DeviceID=\"", "\"");
  for (; !quoted.empty(); quoted.remove_prefix(1)) {
    if (quoted.starts_with("\\\\")) quoted.remove_prefix(1);
    id += quoted.front();
  }
  return Raised(id);
}

// Whether a device on PCI is a controller of NVMe: disks may be behind one of RAID instead, whose
// numbers are not theirs.
bool IsNvmeController(const IWindowsMachine& machine, const std::string& id) {
  constexpr const char* kDevices = "SYSTEM\\CurrentControlSet\\Enum\\";
  const std::size_t instance = id.rfind('\\');
  if (!id.starts_with("PCI\\") || instance == id.find('\\')) return false;
  for (const auto& [name, values] : machine.Keys(kDevices + id.substr(0, instance)).value) {
    if (Raised(name) == id.substr(instance + 1))
      return Contains(TextOf(values, "CompatibleIDs"), "PCI\\CC_010802");
  }
  return false;
}

// Which controller each disk is behind.
class TControllers {
 public:
  TControllers(const IWindowsMachine& machine, TInventory& inventory)
      : machine(machine), inventory(inventory) {}

  // The numbers of the NVMe controller of the disk with this id; none where it is behind another.
  TPciNumbers NumbersFor(const std::string& disk) {
    if (!controllers) Ask();
    const auto found = controllers->find(Raised(disk));
    if (found == controllers->end() || !IsNvmeController(machine, found->second)) return {};
    return NumbersOfPci(found->second);
  }

 private:
  void Ask() {
    constexpr const char* kClass = "Win32_SCSIControllerDevice";
    controllers.emplace();
    ForEach(machine.Instances(kCimSpace, kClass), kClass, inventory, [this](const TRow& row) {
      controllers->emplace(IdOfReference(TextOf(row, "Dependent")),
                           IdOfReference(TextOf(row, "Antecedent")));
    });
  }

  const IWindowsMachine& machine;
  TInventory& inventory;
  std::optional<std::map<std::string, std::string>> controllers;
};

// Vendor and product as INQUIRY tells them: a disk's id says which part of its name the vendor is,
// with "_" for what is no letter of ids.
TFirmwareDevice InquiredDisk(const std::string& name, const std::string& id,
                             const std::string& revision) {
  std::string vendor(Between(id, "&VEN_", "&\\"));
  while (vendor.ends_with('_')) vendor.pop_back();
  std::size_t length = 0;
  const std::string raised = Raised(name);
  while (length < vendor.size() && length < name.size() &&
         (vendor[length] == raised[length] || vendor[length] == '_'))
    ++length;
  const bool isFirst = !vendor.empty() && length == vendor.size() && name[length] == ' ';
  if (isFirst) {
    return ScsiDisk(name.substr(0, length), std::string(Trimmed(name.substr(length))), revision);
  }
  if (vendor.empty() && Contains(id, "&VEN_&")) return ScsiDisk("", name, revision);
  return {name, "", revision, "", {}, "scsi"};
}

void AddDisk(const TRow& row, TControllers& controllers, TInventory& inventory) {
  const TDiskName name = NameOf(row);
  const std::string revision = TextOf(row, "FirmwareRevision");
  const std::string id = Raised(TextOf(row, "PNPDeviceID"));
  if (revision.empty()) return;
  if (!name.isOfInquiry && id.starts_with("SCSI\\DISK&VEN_NVME&"))
    AddDevice(NvmeDisk(name.text, revision, controllers.NumbersFor(id)), inventory);
  else if (!name.isOfInquiry && TextOf(row, "InterfaceType") == "IDE" && !name.text.empty())
    AddDevice(AtaDisk(name.text, revision), inventory);
  else
    AddDevice(InquiredDisk(name.text, id, revision), inventory);
}

}  // namespace

std::string RegistryPlace(const std::string& path) { return "HKLM\\" + path; }

void AddWindowsFirmware(const IWindowsMachine& machine, TInventory& inventory) {
  TControllers controllers(machine, inventory);
  ForEach(machine.Instances(kCimSpace, kDisks), kDisks, inventory,
          [&](const TRow& row) { AddDisk(row, controllers, inventory); });
  AddProcessors(machine, inventory);
  AddResourceTable(machine, inventory);
}

// The entry of svcheck-collect.dll, and the collector behind it.

namespace {

class TWindowsCollector : public ICollector {
 public:
  Outcome Collect(const Options& options) const override {
    // "/", or "C:\", is the running system.
    if (std::filesystem::path(options.root).has_relative_path()) {
      throw TError("cannot read the system tree " + options.root +
                   ": on Windows only the running system is read; run svcheck on Linux "
                   "for a captured tree");
    }
    TInventory inventory = ReadWindowsMachine(*ThisWindowsMachine(), options.redact);
    MergeDevices(options.devices, inventory);
    return {ToCimXml(inventory.Instances()), inventory.Notes()};
  }

  std::vector<SourceState> TrySources() const override {
    return TryWindowsSources(*ThisWindowsMachine());
  }

  std::vector<std::string> Capture(const Options&, const TWrite&) const override {
    throw TError(
        "cannot write a capture: a Windows machine's inventory is not made of "
        "files; give its inventory instead, with --output FILE");
  }
};

}  // namespace

}  // namespace svc::collect

extern "C" __declspec(dllexport) const svc::collect::ICollector* SvcheckCollector() {
  static const svc::collect::TWindowsCollector collector;
  return &collector;
}
