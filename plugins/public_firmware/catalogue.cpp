#include "plugins/public_firmware/catalogue.h"

#include <algorithm>

#include "host/hskcore/namespace_provider.h"
#include "host/hskcore/root_object.h"
#include "host/xmlparser/namespace_populator.h"

using namespace NQRXHSK20;

namespace svc::publicfirmware {

namespace {

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

TDevice DeviceOf(const TInstanceHandle& instance) {
  TDevice device{TextOf(instance, "Name"),
                 TextOf(instance, "Version"),
                 TextOf(instance, "VersionFormat"),
                 {},
                 {}};
  for (const std::string& identifier : TextsOf(instance, "Identifiers")) {
    device.guids.push_back(GuidOf(identifier));
    for (std::string& vendor : VendorsOf(identifier)) device.vendors.push_back(std::move(vendor));
  }
  return device;
}

void AddHardwareIds(const TInstanceHandle& system, std::vector<TGuid>& ids) {
  const TMachineFields fields = {TextOf(system, "Manufacturer"),
                                 TextOf(system, "Family"),
                                 TextOf(system, "Model"),
                                 TextOf(system, "SKUNumber"),
                                 TextOf(system, "BaseboardManufacturer"),
                                 TextOf(system, "BaseboardProduct")};
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

// An inventory may list the hardware ids of the machine as those of one of its devices.
TMachine ReadMachine(const TNamespaceHandle& inventory) {
  TMachine machine;
  for (const TInstanceHandle& instance : InstancesOf(inventory, "SVC_FirmwareDevice")) {
    machine.devices.push_back(DeviceOf(instance));
    const std::vector<TGuid>& guids = machine.devices.back().guids;
    machine.hardwareIds.insert(machine.hardwareIds.end(), guids.begin(), guids.end());
  }
  for (const TInstanceHandle& system : InstancesOf(inventory, "QRXSG_ComputerSystem")) {
    AddHardwareIds(system, machine.hardwareIds);
  }
  std::sort(machine.hardwareIds.begin(), machine.hardwareIds.end());
  return machine;
}

TOffer::TOffer(TInstanceHandle offer)
    : instance(std::move(offer)),
      version(TextOf(instance, "Version")),
      format(FormatOfName(TextOf(instance, "VersionFormat"))),
      branch(TextOf(instance, "Branch")),
      requirements(TextsOf(instance, "Requirements")) {}

TOfferIndex::TOfferIndex(const std::string& file) {
  const TNamespaceHandle catalogue =
      TRootObject::GetNamespaceProviderManager()->GetProvider("inmem")->CreateNamespace(
          CIMContext(), 0, "public firmware");
  TNamespacePopulator::PopulateFromXMLFile(catalogue, file);
  offers = InstancesOf(catalogue, "SVC_FirmwareOffer");
  for (std::size_t i = 0; i < offers.size(); ++i) {
    for (const std::string& identifier : TextsOf(offers[i], "Identifiers")) {
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
  found.reserve(numbers.size());
  for (const std::uint32_t number : numbers) found.emplace_back(offers[number]);
  return found;
}

}  // namespace svc::publicfirmware
