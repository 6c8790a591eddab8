// The devices of a server: storage controllers, drives, network adapters, trusted modules.
#include <fmt/format.h>
#include <algorithm>
#include <set>

#include "base/error.h"
#include "collect/cim_xml.h"
#include "collect/redfish/redfish.h"
#include "runtime/acquire/settings.h"

namespace svc::collect {

constexpr std::string_view kBroadcom = "14e4";

// What a device calls itself: its model says more than a name such as "Storage Controller".
static std::string NameOf(const TJson& device) {
  const std::string model = TextOf(device, "Model");
  return model.empty() ? TextOf(device, "Name") : model;
}

static bool IsAbsent(const TJson& device) {
  return TextOf(PartOf(device, "Status"), "State") == "Absent";
}

static TPciNumbers NumbersOf(const TJson& function) {
  return {TextOf(function, "VendorId"), TextOf(function, "DeviceId"),
          TextOf(function, "SubsystemVendorId"), TextOf(function, "SubsystemId")};
}

static bool AreKnown(const TPciNumbers& numbers) { return !PciIdentifiers("PCI", numbers).empty(); }

// Of the first function of a PCI device. Where a device has several, they are of one kind.
static TPciNumbers NumbersOfDevice(TService& service, const std::string& place) {
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
static TPciNumbers LinkedNumbers(TService& service, const TJson& resource) {
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

static void Tell(const TJson& resource, const std::string& version, TServer& server) {
  server.Tell({PlaceOf(resource), version, ""});
}

// Storage.

static void AddController(const TJson& controller, TServer& server) {
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

static void AddDrive(const TJson& drive, TServer& server) {
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

static void ReadStorage(TServer& server) {
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
static std::vector<TJson> AdaptersOf(TServer& server) {
  std::vector<std::string> places;
  std::set<std::string> seen;
  for (const TJson& interface : server.service.Members(server.system, "NetworkInterfaces")) {
    const std::string place = PlaceOf(PartOf(PartOf(interface, "Links"), "NetworkAdapter"));
    if (!place.empty() && seen.insert(place).second) places.push_back(place);
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

static void AddAdapterPart(const TJson& adapter, const TPciNumbers& numbers,
                           const std::string& version, TServer& server) {
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
static void AddAdapter(const TJson& adapter, TServer& server) {
  if (IsAbsent(adapter)) return;
  std::set<std::string> versions;
  for (const TJson& controller : ListOf(adapter, "Controllers")) {
    const std::string version = TextOf(controller, "FirmwarePackageVersion");
    if (version.empty() || !versions.insert(version).second) continue;
    AddAdapterPart(adapter, LinkedNumbers(server.service, controller), version, server);
  }
}

static void AddTrustedModules(TServer& server) {
  for (const TJson& trusted : ListOf(server.system, "TrustedModules")) {
    const std::string version = TextOf(trusted, "FirmwareVersion");
    if (version.empty() || IsAbsent(trusted)) continue;
    AddDevice({"TPM " + TextOf(trusted, "InterfaceType"), "", version, "", {}, kRedfish},
              server.inventory);
  }
}

void ReadDevices(TServer& server) {
  ReadStorage(server);
  for (const TJson& adapter : AdaptersOf(server)) AddAdapter(adapter, server);
  AddTrustedModules(server);
}

// How the resources of a service are read, and what is told of those that are not there.

constexpr const char* kRoot = "/redfish/v1/";
constexpr const char* kNextPage = "Members@odata.nextLink";
constexpr std::size_t kMaxNotes = 1000;

static bool IsTrue(const TJson& resource, const char* name) {
  const TJson& value = PartOf(resource, name);
  return value.is_boolean() && value.get<bool>();
}

// The query by which a collection brings its members with it (DSP0266, "The $expand query
// parameter"); the period stands for what is not below Links.
static std::string ExpandQuery(const TJson& root) {
  const TJson& offered = PartOf(PartOf(root, "ProtocolFeaturesSupported"), "ExpandQuery");
  if (!IsTrue(offered, "NoLinks")) return "";
  return IsTrue(offered, "Levels") ? "?$expand=.($levels=1)" : "?$expand=.";
}

// Whether a member came with its properties; a reference has annotations alone.
static bool IsWhole(const TJson& member) {
  return std::ranges::any_of(
      member.items(), [](const auto& item) { return item.key().find('@') == std::string::npos; });
}

// The objects of a list, as long as there are not too many. Whether they were all.
static bool AddMembers(const TJson& list, std::vector<TJson>& members) {
  if (!list.is_array()) return true;
  for (const TJson& member : list) {
    if (!member.is_object()) continue;
    if (members.size() == kMaxMembers) return false;
    members.push_back(member);
  }
  return true;
}

const TJson& PartOf(const TJson& resource, const char* name) {
  static const TJson kNothing;
  if (!resource.is_object()) return kNothing;
  const auto found = resource.find(name);
  return found == resource.end() ? kNothing : *found;
}

std::string TextOf(const TJson& resource, const char* name) {
  const TJson& value = PartOf(resource, name);
  if (!value.is_string()) return {};
  const auto& text = value.get_ref<const std::string&>();
  return text.size() > kLongestText ? std::string() : CleanText(text);
}

std::vector<TJson> ListOf(const TJson& resource, const char* name) {
  const TJson& list = PartOf(resource, name);
  if (!list.is_array()) return {};
  const std::size_t count = std::min(list.size(), kMaxMembers);
  return {list.begin(), list.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::string PlaceOf(const TJson& reference, const char* name) {
  const TJson& value = PartOf(reference, name);
  if (!value.is_string()) return {};
  std::string place = CleanText(value.get_ref<const std::string&>());
  place.resize(std::min(place.size(), kLongestPlace + 1));
  return place;
}

std::vector<std::string> PlacesOf(const TJson& resource, const char* name) {
  std::vector<std::string> places;
  const TJson& list = PartOf(resource, name);
  if (!list.is_array()) return places;
  for (const TJson& reference : list) {
    if (places.size() == kMaxMembers) break;
    if (std::string place = PlaceOf(reference); !place.empty()) places.push_back(std::move(place));
  }
  return places;
}

bool IsWithin(std::string_view place, std::string_view resource) {
  resource = WithoutSlashes(resource);
  if (resource.empty() || !place.starts_with(resource)) return false;
  place.remove_prefix(resource.size());
  return place.empty() || place.front() == '/' || place.front() == '#';
}

std::string_view WithoutSlashes(std::string_view place) {
  while (place.ends_with('/')) place.remove_suffix(1);
  return place;
}

std::string LastName(std::string_view place) {
  place = WithoutSlashes(place);
  return std::string(place.substr(place.rfind('/') + 1));
}

void TService::Note(const std::string& problem) {
  const bool isExhausted = problem == client.Exhausted() && !problem.empty();
  if (isExhausted && std::exchange(isExhaustionNoted, true)) return;
  if (!isExhausted && ++notes >= kMaxNotes) {
    if (notes == kMaxNotes)
      inventory.Note(client.Origin() + ": more is left out than is told here");
    return;
  }
  inventory.Note(isExhausted
                     ? client.Origin() + ": " + problem + "; all that is missing is left out"
                     : problem + "; left out");
}

void TService::Open() {
  TResource first = client.Get(kRoot);
  if (!first) throw TError(first.problem);
  const bool isService = first.content.contains("Systems") || first.content.contains("Links") ||
                         first.content.contains("RedfishVersion");
  if (!isService)
    throw TError(client.Origin() + kRoot +
                 ": no Redfish service is there; give the address of the " +
                 "server's management controller");
  root = std::move(first.content);
  expand = ExpandQuery(root);
}

TJson TService::Read(const std::string& place) {
  if (place.empty()) return nullptr;
  TResource resource = client.Get(place);
  if (resource) return std::move(resource.content);
  Note(resource.problem);
  return nullptr;
}

// A service that cannot do what it offers is asked the plain way.
TResource TService::ReadCollection(const std::string& place, bool isExpanded) {
  if (isExpanded && !expand.empty() && place.find('?') == std::string::npos) {
    TResource whole = client.Get(place + expand);
    if (whole && PartOf(whole.content, "Members").is_array()) return whole;
    expand.clear();
  }
  return client.Get(place);
}

std::vector<TJson> TService::References(const std::string& place, bool isExpanded,
                                        TResource& first) {
  std::vector<TJson> members;
  std::set<std::string> pages;
  for (std::string page = place; !page.empty() && pages.insert(page).second;) {
    TResource resource = ReadCollection(page, isExpanded);
    if (!resource && pages.size() > 1) Note(resource.problem);
    const bool areAll = AddMembers(PartOf(resource.content, "Members"), members);
    page = PlaceOf(resource.content, kNextPage);
    if (!areAll || (members.size() == kMaxMembers && !page.empty())) {
      Note(fmt::format("{}{}: more than {} members", client.Origin(), place, kMaxMembers));
      page.clear();
    }
    if (pages.size() == 1) first = std::move(resource);
  }
  return members;
}

std::vector<TJson> TService::Members(const TJson& resource, const char* name) {
  const std::string place = PlaceOf(PartOf(resource, name));
  if (place.empty()) return {};
  TResource first;
  std::vector<TJson> members;
  for (TJson& member : References(place, true, first)) {
    const std::string own = PlaceOf(member);
    if (!IsWhole(member)) member = Read(own);
    if (!member.is_object()) continue;
    if (!member.contains("@odata.id")) member["@odata.id"] = own;
    members.push_back(std::move(member));
  }
  if (!first) Note(first.problem);
  return members;
}

}  // namespace svc::collect
