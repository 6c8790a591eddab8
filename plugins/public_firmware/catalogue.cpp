#include "plugins/public_firmware/catalogue.h"

#include <algorithm>
#include <stdexcept>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/hskcore/root_object.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"

using namespace NQRXHSK20;

namespace svc::publicfirmware {

namespace {

// Of all devices of a machine together. Real ones have some hundred identifiers; a default of a
// class would give its own to each device.
constexpr std::size_t kMostIdentifiers = 100'000;
constexpr std::size_t kMostDeviceText = std::size_t{16} << 20;

// An identifier takes no less of a file, where no default repeats it.
constexpr std::size_t kShortestValue = sizeof("<VALUE></VALUE>") - 1;
// A release without any property of its own is kept in so many times what it takes of a file.
constexpr std::size_t kMostTimes = 3;
// What may be made of the smallest file.
constexpr std::size_t kAlways = std::size_t{8} << 20;

// Calls `use` with the value of a property that is there and not null.
template <typename TUse>
void UseValue(const TInstanceHandle& instance, std::string_view property, const TUse& use) {
  const CIMContext none;
  boost::shared_ptr<ICIMProperty> handle;
  try {
    instance->GetProperty(handle, property, none);
  } catch (const THSKException& exception) {
    if (exception.GetStatusCode() != THSKStatusCode::kNoSuchProperty) throw;
    return;
  }
  const TCIMValue& value = handle->Value(none);
  if (!value.IsNull()) use(value);
}

// The elements of an array, or one value alone.
std::vector<std::string> TextsOf(const TInstanceHandle& instance, std::string_view property) {
  std::vector<std::string> texts;
  UseValue(instance, property, [&](const TCIMValue& value) {
    if (!value.IsArray()) {
      texts.push_back(static_cast<std::string>(value));
      return;
    }
    for (const TCIMValue& item : static_cast<const std::vector<TCIMValue>&>(value)) {
      texts.push_back(static_cast<std::string>(item));
    }
  });
  return texts;
}

// None where the namespace has no such class.
std::vector<TInstanceHandle> InstancesOf(const TNamespaceHandle& source, std::string_view name) {
  const CIMContext none;
  std::vector<TInstanceHandle> instances;
  boost::shared_ptr<ICIMClass> cimClass;
  try {
    source->GetClass(cimClass, name, none);
  } catch (const THSKException& exception) {
    if (exception.GetStatusCode() != THSKStatusCode::kClassNotFound) throw;
    return instances;
  }
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, none);
  return instances;
}

// What is read of all devices together.
class TDevicesSize {
 public:
  // Throws std::length_error.
  void Add(const std::string& bytes) {
    text += bytes.size();
    Check();
  }
  void AddIdentifier(const std::string& identifier) {
    ++identifiers;
    Add(identifier);
  }

 private:
  void Check() const {
    if (identifiers <= kMostIdentifiers && text <= kMostDeviceText) return;
    throw std::length_error(
        "Public firmware: the inventory tells more of devices, or of their identifiers, than any "
        "machine has");
  }

  std::size_t identifiers = 0;
  std::size_t text = 0;
};

TDevice ReadDevice(const TInstanceHandle& instance, TDevicesSize& size) {
  TDevice device{TextOf(instance, "Name"),
                 TextOf(instance, "Version"),
                 TextOf(instance, "VersionFormat"),
                 {},
                 TextsOf(instance, "VendorIds"),
                 TextOf(instance, "Branch"),
                 TextOf(instance, "BootloaderVersion")};
  for (const std::string* const text :
       {&device.name, &device.version, &device.format, &device.branch, &device.bootloaderVersion}) {
    size.Add(*text);
  }
  for (const std::string& vendor : device.vendors) size.AddIdentifier(vendor);
  for (const std::string& identifier : TextsOf(instance, "Identifiers")) {
    size.AddIdentifier(identifier);
    device.guids.push_back(GuidOf(identifier));
    for (std::string& vendor : VendorsOf(identifier)) device.vendors.push_back(std::move(vendor));
  }
  std::sort(device.vendors.begin(), device.vendors.end());
  device.vendors.erase(std::unique(device.vendors.begin(), device.vendors.end()),
                       device.vendors.end());
  return device;
}

// The decimal number of a byte; empty where it is none.
std::string HexadecimalOf(const std::string& decimal, std::size_t digits) {
  constexpr std::uint32_t kMost = 0xFF;
  const auto number = NumberOf(decimal);
  if (!number || *number > kMost) return {};
  std::string text;
  for (std::uint32_t rest = *number; rest > 0 || text.size() < digits; rest >>= 4) {
    text.insert(text.begin(), "0123456789abcdef"[rest & 0xF]);
  }
  return text;
}

void AddHardwareIds(const TInstanceHandle& system, TDevicesSize& size, std::vector<TGuid>& ids) {
  const TMachineFields fields = {TextOf(system, "Manufacturer"),
                                 TextOf(system, "Family"),
                                 TextOf(system, "Model"),
                                 TextOf(system, "SKUNumber"),
                                 TextOf(system, "BaseboardManufacturer"),
                                 TextOf(system, "BaseboardProduct"),
                                 TextOf(system, "BIOSVendor"),
                                 TextOf(system, "BIOSVersion"),
                                 HexadecimalOf(TextOf(system, "BIOSMajorRelease"), 2),
                                 HexadecimalOf(TextOf(system, "BIOSMinorRelease"), 2),
                                 HexadecimalOf(TextOf(system, "EnclosureType"), 1)};
  for (const std::string* const text :
       {&fields.manufacturer, &fields.family, &fields.product, &fields.sku,
        &fields.boardManufacturer, &fields.board, &fields.biosVendor, &fields.biosVersion}) {
    size.Add(*text);
  }
  const std::vector<TGuid> made = HardwareIdsOf(fields);
  ids.insert(ids.end(), made.begin(), made.end());
}

}  // namespace

std::string TextOf(const TInstanceHandle& instance, std::string_view property) {
  std::string text;
  UseValue(instance, property,
           [&](const TCIMValue& value) { text = static_cast<std::string>(value); });
  return text;
}

TMachine::TMachine(std::vector<TDevice> itsDevices, std::vector<TGuid> itsIds)
    : devices(std::move(itsDevices)), hardwareIds(std::move(itsIds)) {
  std::sort(hardwareIds.begin(), hardwareIds.end());
  for (std::size_t i = 0; i < devices.size(); ++i) {
    for (const TGuid& guid : devices[i].guids) {
      byDevice.emplace_back(guid, static_cast<std::uint32_t>(i));
    }
  }
  std::sort(byDevice.begin(), byDevice.end());
}

const TDevice* TMachine::DeviceOf(const TGuid& guid) const {
  const auto found = std::lower_bound(byDevice.begin(), byDevice.end(), std::pair(guid, 0U));
  return found == byDevice.end() || found->first != guid ? nullptr : &devices[found->second];
}

// An inventory may list the hardware ids of the machine as those of one of its devices.
TMachine ReadMachine(const TNamespaceHandle& inventory) {
  std::vector<TDevice> devices;
  std::vector<TGuid> hardwareIds;
  TDevicesSize size;
  for (const TInstanceHandle& instance : InstancesOf(inventory, "SVC_FirmwareDevice")) {
    devices.push_back(ReadDevice(instance, size));
    const std::vector<TGuid>& guids = devices.back().guids;
    hardwareIds.insert(hardwareIds.end(), guids.begin(), guids.end());
  }
  for (const TInstanceHandle& system : InstancesOf(inventory, "QRXSG_ComputerSystem")) {
    AddHardwareIds(system, size, hardwareIds);
  }
  return {std::move(devices), std::move(hardwareIds)};
}

TOffer::TOffer(TInstanceHandle offer)
    : instance(std::move(offer)),
      version(TextOf(instance, "Version")),
      format(FormatOfName(TextOf(instance, "VersionFormat"))),
      branch(TextOf(instance, "Branch")),
      requirements(TextsOf(instance, "Requirements")) {}

void TOfferIndex::RefuseDefaults() const {
  throw THSKException("Public firmware: " + file +
                          ": the defaults of its classes make far more of it than it holds; import "
                          "it anew",
                      THSKStatusCode::kFailed);
}

std::size_t TOffer::Size() const {
  std::size_t bytes = sizeof(TOffer) + version.size() + branch.size();
  for (const std::string& requirement : requirements) {
    bytes += sizeof(std::string) + requirement.size();
  }
  return bytes;
}

TOfferIndex::TOfferIndex(const std::string& path)
    : file(path), size(TOSSpecific::GetFileSize(path)) {
  const TNamespaceHandle catalogue =
      TRootObject::GetNamespaceProviderManager()->GetProvider("inmem")->CreateNamespace(
          CIMContext(), 0, "public firmware");
  TNamespacePopulator::PopulateFromXMLFile(catalogue, path);
  offers = InstancesOf(catalogue, "SVC_FirmwareOffer");
  std::uint64_t read = 0;
  for (std::size_t i = 0; i < offers.size(); ++i) {
    for (const std::string& identifier : TextsOf(offers[i], "Identifiers")) {
      read += kShortestValue + identifier.size();
      if (read > size + kAlways) RefuseDefaults();
      byGuid.emplace_back(GuidOf(identifier), static_cast<std::uint32_t>(i));
    }
  }
  std::sort(byGuid.begin(), byGuid.end());
}

std::vector<TOffer> TOfferIndex::For(const std::vector<TGuid>& guids) const {
  std::vector<std::uint32_t> numbers;
  for (const TGuid& guid : guids) {
    const auto begin = std::lower_bound(byGuid.begin(), byGuid.end(), std::pair(guid, 0U));
    for (auto found = begin; found != byGuid.end() && found->first == guid; ++found) {
      numbers.push_back(found->second);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  std::vector<TOffer> found;
  std::size_t kept = 0;
  for (const std::uint32_t number : numbers) {
    kept += found.emplace_back(offers[number]).Size();
    if (kept > kMostTimes * size + kAlways) RefuseDefaults();
  }
  return found;
}

}  // namespace svc::publicfirmware
