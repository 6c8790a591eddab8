#include "collect/firmware_device.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace svc::collect {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

// Four digits in capitals; empty for what is no number of 16 bits, and for those that stand for no
// number.
std::string Digits(std::string_view number) {
  std::string digits = Lowered(Trimmed(number));
  if (digits.starts_with("0x")) digits.erase(0, 2);
  const bool isNumber = !digits.empty() && digits.find_first_not_of(kHexDigits) == digits.npos;
  const std::size_t begin = digits.find_first_not_of('0');
  if (!isNumber || begin == digits.npos || digits.size() - begin > 4) return {};
  digits = std::string(4 - (digits.size() - begin), '0') + digits.substr(begin);
  for (char& digit : digits) {
    if (digit >= 'a') digit = static_cast<char>(digit - 'a' + 'A');
  }
  return digits == "FFFF" ? std::string() : digits;
}

TInstance InstanceOf(const TFirmwareDevice& device) {
  TInstance instance(kFirmwareDevice);
  instance.Set("Name", device.name)
      .Set("Vendor", device.vendor)
      .Set("Version", device.version)
      .Set("VersionFormat", device.version.empty() ? "" : device.versionFormat)
      .SetList("Identifiers", device.identifiers)
      .Set("Source", device.source)
      .SetList("VendorIds", device.vendorIds)
      .Set("Branch", device.branch)
      .Set("BootloaderVersion", device.bootloaderVersion);
  return instance;
}

TFirmwareDevice DeviceOf(const TInstance& instance) {
  TFirmwareDevice device;
  for (const TProperty& property : instance.Properties()) {
    if (property.name == "Name") device.name = property.value;
    if (property.name == "Vendor") device.vendor = property.value;
    if (property.name == "Version") device.version = property.value;
    if (property.name == "VersionFormat") device.versionFormat = property.value;
    if (property.name == "Identifiers") device.identifiers = property.elements;
  }
  return device;
}

// Devices by what they are looked for: an identifier, and the version with it. Each is found in
// time that does not grow with their number, for anybody may have told of as many as there can be.
class TKnownDevices {
 public:
  void Add(std::size_t place, TFirmwareDevice device) {
    for (const std::string& key : KeysOf(device)) numbers[key].insert(known.size());
    known.push_back({place, std::move(device)});
  }

  struct TKnown {
    std::size_t place;  // In the inventory.
    TFirmwareDevice device;
  };
  // The first one that shares an identifier, before all others the first of the same version; it is
  // not found again. Null for none.
  const TKnown* Take(const TFirmwareDevice& device) {
    auto number = FirstOf(device, true);
    if (!number) number = FirstOf(device, false);
    if (!number) return nullptr;
    for (const std::string& key : KeysOf(known[*number].device)) numbers[key].erase(*number);
    return &known[*number];
  }

 private:
  // No identifier holds a NUL.
  static std::string KeyOf(const std::string& identifier, const std::string& version) {
    return identifier + std::string(1, '\0') + version;
  }
  static std::vector<std::string> KeysOf(const TFirmwareDevice& device) {
    std::vector<std::string> keys = device.identifiers;
    for (const std::string& identifier : device.identifiers)
      keys.push_back(KeyOf(identifier, device.version));
    return keys;
  }
  std::optional<std::size_t> FirstOf(const TFirmwareDevice& device, bool isOfVersion) const {
    std::optional<std::size_t> first;
    for (const std::string& identifier : device.identifiers) {
      const auto found = numbers.find(isOfVersion ? KeyOf(identifier, device.version) : identifier);
      if (found == numbers.end() || found->second.empty()) continue;
      first = std::min(first.value_or(*found->second.begin()), *found->second.begin());
    }
    return first;
  }

  std::vector<TKnown> known;
  std::unordered_map<std::string, std::set<std::size_t>> numbers;
};

TFirmwareDevice Merged(TFirmwareDevice device, const TFirmwareDevice& known) {
  if (device.name.empty()) device.name = known.name;
  if (device.vendor.empty()) device.vendor = known.vendor;
  if (device.version.empty()) {
    device.version = known.version;
    device.versionFormat = known.versionFormat;
  }
  std::unordered_set<std::string> told(device.identifiers.begin(), device.identifiers.end());
  for (const std::string& identifier : known.identifiers) {
    if (told.insert(identifier).second) device.identifiers.push_back(identifier);
  }
  return device;
}

// A text of a fixed number of letters, as ids of IDE devices have them.
std::string Padded(std::string text, std::size_t size) {
  for (char& letter : text) {
    if (letter == ' ') letter = '_';
  }
  text.resize(size, '_');
  return text;
}

std::string ResourceName(std::string_view type) {
  if (type == "1") return "System Firmware";
  if (type == "2") return "Device Firmware";
  return type == "3" ? "UEFI Driver" : "Firmware";
}

std::vector<std::string> ProcessorIdentifiers(const TProcessorNumbers& numbers) {
  const std::string family = fmt::format("CPUID\\PRO_0&FAM_{:02X}", numbers.family);
  const std::string model = fmt::format("{}&MOD_{:02X}", family, numbers.model);
  return {fmt::format("{}&STP_{:X}", model, numbers.stepping), model, family};
}

// A hypervisor that hides the revision says that all its bits are set.
bool IsRevision(const std::string& text) {
  return text.starts_with("0x") && text != "0xffffffff" && text != "0x0";
}

}  // namespace

void AddDevice(const TFirmwareDevice& device, TInventory& inventory) {
  if (device.name.empty() && device.version.empty() && device.identifiers.empty()) return;
  inventory.Add(InstanceOf(device));
}

void MergeDevices(const std::vector<TFirmwareDevice>& devices, TInventory& inventory) {
  TKnownDevices there;
  for (std::size_t i = 0; i < inventory.Instances().size(); ++i) {
    const TInstance& instance = inventory.Instances()[i];
    if (instance.ClassName() == kFirmwareDevice) there.Add(i, DeviceOf(instance));
  }
  for (const TFirmwareDevice& device : devices) {
    if (const auto* const same = there.Take(device)) {
      inventory.Replace(same->place, InstanceOf(Merged(device, same->device)));
    } else {
      AddDevice(device, inventory);
    }
  }
}

std::vector<std::string> PciIdentifiers(std::string_view bus, const TPciNumbers& numbers) {
  const std::string vendor = Digits(numbers.vendor);
  const std::string device = Digits(numbers.device);
  if (vendor.empty() || device.empty()) return {};
  const std::string plain = fmt::format("{}\\VEN_{}&DEV_{}", bus, vendor, device);
  const std::string subsystemVendor = Digits(numbers.subsystemVendor);
  const std::string subsystemDevice = Digits(numbers.subsystemDevice);
  if (subsystemVendor.empty() || subsystemDevice.empty()) return {plain};
  return {fmt::format("{}&SUBSYS_{}{}", plain, subsystemVendor, subsystemDevice), plain};
}

TFirmwareDevice NvmeDisk(const std::string& model, const std::string& revision,
                         const TPciNumbers& controller) {
  auto identifiers = PciIdentifiers("NVME", controller);
  if (!model.empty()) identifiers.push_back(model);
  return {model, "", revision, "", std::move(identifiers), "nvme"};
}

TFirmwareDevice AtaDisk(const std::string& model, const std::string& revision) {
  const std::string padded = Padded(model, 40);
  return {
      model, "", revision, "", {"IDE\\" + padded + Padded(revision, 8), "IDE\\0" + padded, model},
      "scsi"};
}

TFirmwareDevice ScsiDisk(const std::string& vendor, const std::string& model,
                         const std::string& revision) {
  const std::string id = "SCSI\\VEN_" + IdPart(vendor) + "&DEV_" + IdPart(model);
  return {model, vendor == kAtaVendor ? "" : vendor,    revision,
          "",    {id + "&REV_" + IdPart(revision), id}, "scsi"};
}

TFirmwareDevice FirmwareResource(const std::string& guid, std::string_view type,
                                 const std::string& version) {
  return {ResourceName(type), "", version, "number", {guid}, "esrt"};
}

void AddMicrocode(const std::vector<TProcessor>& processors, TInventory& inventory) {
  std::set<std::pair<std::string, std::string>> told;  // By name and revision.
  for (const TProcessor& processor : processors) {
    const auto& [name, vendor, revision, numbers] = processor;
    if (!IsRevision(revision) || !told.emplace(name, revision).second) continue;
    auto identifiers = numbers ? ProcessorIdentifiers(*numbers) : std::vector<std::string>();
    AddDevice({name, vendor, revision, "hex", std::move(identifiers), "microcode"}, inventory);
  }
}

std::string IdPart(std::string_view text) {
  std::string part;
  for (const char c : Trimmed(text)) {
    const bool isMark = c <= ' ' || c >= 0x7F || std::string_view("_&/\\").find(c) != text.npos;
    if (!isMark)
      part += c;
    else if (!part.empty() && !part.ends_with('-'))
      part += '-';
  }
  while (part.ends_with('-')) part.pop_back();
  return part;
}

std::string Guid(std::string_view text) {
  constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  std::string guid = Lowered(Trimmed(text));
  if (guid.starts_with('{') && guid.ends_with('}')) guid = guid.substr(1, guid.size() - 2);
  if (guid.size() != kForm.size()) return {};
  for (std::size_t i = 0; i < guid.size(); ++i) {
    const bool isRight = kForm[i] == '-' ? guid[i] == '-' : kHexDigits.find(guid[i]) != guid.npos;
    if (!isRight) return {};
  }
  return guid;
}

}  // namespace svc::collect
