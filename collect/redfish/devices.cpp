// The devices of a server: storage controllers, drives, network adapters, trusted modules.
#include <algorithm>

#include "collect/cim_xml.h"
#include "collect/redfish/redfish.h"

namespace svc::collect {
namespace {

constexpr std::string_view kBroadcom = "14e4";

// What a device calls itself: its model says more than a name such as "Storage Controller".
std::string NameOf(const TJson& device) {
  const std::string model = TextOf(device, "Model");
  return model.empty() ? TextOf(device, "Name") : model;
}

bool IsAbsent(const TJson& device) { return TextOf(PartOf(device, "Status"), "State") == "Absent"; }

TPciNumbers NumbersOf(const TJson& function) {
  return {TextOf(function, "VendorId"), TextOf(function, "DeviceId"),
          TextOf(function, "SubsystemVendorId"), TextOf(function, "SubsystemId")};
}

bool AreKnown(const TPciNumbers& numbers) { return !PciIdentifiers("PCI", numbers).empty(); }

// Of the first function of a PCI device. Where a device has several, they are of one kind.
TPciNumbers NumbersOfDevice(TService& service, const std::string& place) {
  const TJson device = service.Read(place);
  auto functions = PlacesOf(PartOf(device, "Links"), "PCIeFunctions");
  if (functions.empty()) {
    TResource first;
    const std::string collection = PlaceOf(PartOf(device, "PCIeFunctions"));
    if (collection.empty()) return {};
    for (const TJson& member : service.References(collection, false, first))
      functions.push_back(PlaceOf(member));
  }
  return functions.empty() ? TPciNumbers{} : NumbersOf(service.Read(functions.front()));
}

// The PCI numbers of an adapter or a controller, by way of what it links to.
TPciNumbers LinkedNumbers(TService& service, const TJson& resource) {
  const TJson& links = PartOf(resource, "Links");
  for (const std::string& place : PlacesOf(links, "PCIeFunctions")) {
    if (const TPciNumbers numbers = NumbersOf(service.Read(place)); AreKnown(numbers))
      return numbers;
  }
  for (const std::string& place : PlacesOf(links, "PCIeDevices")) {
    if (const TPciNumbers numbers = NumbersOfDevice(service, place); AreKnown(numbers))
      return numbers;
  }
  return {};
}

void Tell(const TJson& resource, const std::string& version, TServer& server) {
  server.Tell({PlaceOf(resource), version, ""});
}

// Storage.

void AddController(const TJson& controller, TServer& server) {
  const std::string version = TextOf(controller, "FirmwareVersion");
  const std::string name = NameOf(controller);
  if (version.empty() || IsAbsent(controller)) return;
  const std::string known = Lowered(name + " " + TextOf(controller, "Name"));
  if (Contains(known, "megaraid") || Contains(known, "arrayon")) {
    server.inventory.Add(TInstance("QRXSG_MegaLSIFWPackageBuildFirmwareElement")
                             .Set("Name", name)
                             .Set("Description", name)
                             .Set("Version", version));
  } else {
    AddDevice({name, TextOf(controller, "Manufacturer"), version, "",
               PciIdentifiers("PCI", LinkedNumbers(server.service, controller)), kRedfish},
              server.inventory);
  }
  Tell(controller, version, server);
}

void AddDrive(const TJson& drive, TServer& server) {
  std::string version = TextOf(drive, "FirmwareVersion");
  if (version.empty()) version = TextOf(drive, "Revision");
  if (IsAbsent(drive)) return;
  const std::string model = TextOf(drive, "Model");
  AddDevice(
      {NameOf(drive), TextOf(drive, "Manufacturer"), version, "",
       model.empty() ? std::vector<std::string>() : std::vector<std::string>{model}, kRedfish},
      server.inventory);
  Tell(drive, version, server);
}

void ReadStorage(TServer& server) {
  for (const TJson& storage : server.service.Members(server.system, "Storage")) {
    for (const TJson& controller : ListOf(storage, "StorageControllers"))
      AddController(controller, server);
    for (const TJson& controller : server.service.Members(storage, "Controllers"))
      AddController(controller, server);
    for (const std::string& place : PlacesOf(storage, "Drives")) {
      TJson drive = server.service.Read(place);
      if (!drive.is_object()) continue;
      drive["@odata.id"] = place;
      AddDrive(drive, server);
    }
  }
}

// Network adapters.

// Those that serve the system; where it does not say, those in its chassis.
std::vector<TJson> AdaptersOf(TServer& server) {
  std::vector<std::string> places;
  for (const TJson& interface : server.service.Members(server.system, "NetworkInterfaces")) {
    const std::string place = PlaceOf(PartOf(PartOf(interface, "Links"), "NetworkAdapter"));
    if (!place.empty() && std::ranges::count(places, place) == 0) places.push_back(place);
  }
  std::vector<TJson> adapters;
  for (const std::string& place : places) {
    if (TJson adapter = server.service.Read(place); adapter.is_object()) {
      adapter["@odata.id"] = place;
      adapters.push_back(std::move(adapter));
    }
  }
  if (!places.empty()) return adapters;
  for (const std::string& place : PlacesOf(PartOf(server.system, "Links"), "Chassis")) {
    const TJson chassis = server.service.Read(place);
    for (TJson& adapter : server.service.Members(chassis, "NetworkAdapters"))
      adapters.push_back(std::move(adapter));
  }
  return adapters;
}

void AddAdapterPart(const TJson& adapter, const TPciNumbers& numbers, const std::string& version,
                    TServer& server) {
  const auto identifiers = PciIdentifiers("PCI", numbers);
  const std::string vendor = Lowered(numbers.vendor);
  if (!identifiers.empty() && vendor.ends_with(kBroadcom)) {
    const std::string device = Lowered(numbers.device);
    server.inventory.Add(
        TInstance("QRXSG_BcmDeviceFirmwareElement")
            .Set("Name", NameOf(adapter))
            .Set("SoftwareElementID", std::string(kBroadcom) + device.substr(device.find('x') + 1))
            .Set("Version", version));
  } else {
    AddDevice(
        {NameOf(adapter), TextOf(adapter, "Manufacturer"), version, "", identifiers, kRedfish},
        server.inventory);
  }
  Tell(adapter, version, server);
}

// An adapter may have several controllers; as a rule they run one package.
void AddAdapter(const TJson& adapter, TServer& server) {
  if (IsAbsent(adapter)) return;
  std::vector<std::string> versions;
  for (const TJson& controller : ListOf(adapter, "Controllers")) {
    const std::string version = TextOf(controller, "FirmwarePackageVersion");
    if (version.empty() || std::ranges::count(versions, version) != 0) continue;
    versions.push_back(version);
    AddAdapterPart(adapter, LinkedNumbers(server.service, controller), version, server);
  }
}

void AddTrustedModules(TServer& server) {
  for (const TJson& trusted : ListOf(server.system, "TrustedModules")) {
    const std::string version = TextOf(trusted, "FirmwareVersion");
    if (version.empty() || IsAbsent(trusted)) continue;
    AddDevice({"TPM " + TextOf(trusted, "InterfaceType"), "", version, "", {}, kRedfish},
              server.inventory);
  }
}

}  // namespace

void ReadDevices(TServer& server) {
  ReadStorage(server);
  for (const TJson& adapter : AdaptersOf(server)) AddAdapter(adapter, server);
  AddTrustedModules(server);
}

}  // namespace svc::collect
