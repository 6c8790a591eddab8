// From a service to the inventory of one of its servers: the system, its managers and its firmware.
#include "collect/redfish/redfish.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "base/error.h"
#include "collect/cim_xml.h"
#include "collect/collector.h"
#include "host/hskcore/export.h"

namespace svc::collect {
namespace {

constexpr std::size_t kMaxNamed = 20;    // Systems in one line for a person.
constexpr std::size_t kMaxRelated = 32;  // Resources that an item of firmware is told to be for.

std::vector<std::string> PlacesOfAll(const std::vector<TJson>& references) {
  std::vector<std::string> places;
  for (const TJson& reference : references) {
    if (std::string place = PlaceOf(reference); !place.empty()) places.push_back(std::move(place));
  }
  return places;
}

std::string NamesOf(const std::vector<std::string>& places) {
  std::vector<std::string> names;
  for (const std::string& place : places) {
    if (names.size() < kMaxNamed) names.push_back(LastName(place));
  }
  if (names.size() < places.size()) names.emplace_back("...");
  return fmt::format("{}", fmt::join(names, ", "));
}

bool IsNamed(const std::string& place, const std::string& id) {
  return LastName(place) == id || (IsWithin(place, id) && IsWithin(id, place));
}

// The places of the systems, each once.
std::vector<std::string> SystemsOf(TService& service) {
  const std::string collection = PlaceOf(PartOf(service.Root(), "Systems"));
  const std::string& origin = service.Client().Origin();
  if (collection.empty()) throw TError(origin + ": the service tells of no system");
  TResource first;
  std::vector<std::string> places = PlacesOfAll(service.References(collection, false, first));
  if (!first) throw TError(first.problem);
  if (places.empty()) throw TError(origin + ": the service tells of no system");
  return places;
}

std::string ChosenPlace(const std::vector<std::string>& places, const std::string& id,
                        const std::string& origin) {
  const auto found =
      std::ranges::find_if(places, [&id](const std::string& place) { return IsNamed(place, id); });
  if (found == places.end())
    throw TError(fmt::format("{}: has no system \"{}\"; it has: {}", origin, CleanText(id),
                             NamesOf(places)));
  return *found;
}

// Of several systems the first that can be read.
TJson FirstOf(const std::vector<std::string>& places, TServer& server, std::string& chosen) {
  std::vector<std::string> problems;
  for (const std::string& place : places) {
    TResource system = server.service.Client().Get(place);
    if (system) {
      for (const std::string& problem : problems) server.service.Note(problem);
      chosen = place;
      return std::move(system.content);
    }
    problems.push_back(system.problem);
  }
  throw TError(problems.front());
}

void ChooseSystem(const std::string& id, TServer& server) {
  const std::vector<std::string> places = SystemsOf(server.service);
  const std::string& origin = server.service.Client().Origin();
  std::string chosen;
  const bool isGiven = !id.empty();
  server.system = FirstOf(
      isGiven ? std::vector<std::string>{ChosenPlace(places, id, origin)} : places, server, chosen);
  for (const std::string& place : places) {
    if (place != chosen) server.otherSystems.emplace_back(WithoutSlashes(place));
  }
  server.system["@odata.id"] = chosen;
  if (!isGiven && places.size() > 1)
    server.inventory.Note(
        fmt::format("{}: has {} systems ({}); this is the inventory of {}, name another one with "
                    "--system ID",
                    origin, places.size(), NamesOf(places), LastName(chosen)));
}

void AddComputerSystem(TServer& server) {
  const std::string model = TextOf(server.system, "Model");
  if (model.empty())
    server.inventory.Note(server.service.Client().Origin() + PlaceOf(server.system) +
                          ": no model; the machine type is unknown");
  TInstance system("QRXSG_ComputerSystem");
  system.Set("MachineType", MachineTypeOf(model))
      .Set("Manufacturer", TextOf(server.system, "Manufacturer"))
      .Set("Model", model);
  if (!server.redact)
    system.Set("SerialNumber", TextOf(server.system, "SerialNumber"))
        .Set("UUID", TextOf(server.system, "UUID"))
        .Set("Name", TextOf(server.system, "HostName"));
  server.inventory.Add(system);
}

// Some add a date to a version in one of two places: "P79 v1.45 (12/06/2017)" is "P79 v1.45".
bool IsSameVersion(std::string_view one, std::string_view other) {
  if (one.size() > other.size()) std::swap(one, other);
  return !one.empty() && other.starts_with(one) &&
         (one.size() == other.size() || other.substr(one.size()).starts_with(" ("));
}

bool IsRelated(const TJson& item, const std::string& place) {
  return std::ranges::any_of(PlacesOf(item, "RelatedItem"), [&place](const std::string& related) {
    return IsWithin(Lowered(related), Lowered(place));
  });
}

// A system may leave its BIOS to the firmware inventory, which says more of it in any case.
const TJson& BiosItem(const TServer& server) {
  static const TJson kNothing;
  for (const TJson& item : server.firmware) {
    if (IsRelated(item, PlaceOf(server.system) + "/Bios")) return item;
  }
  for (const TJson& item : server.firmware) {
    const std::string name = Lowered(TextOf(item, "Id"));
    const bool isOthers =
        !PlacesOf(item, "RelatedItem").empty() && !IsRelated(item, PlaceOf(server.system));
    if ((name == "bios" || name == "uefi") && !isOthers) return item;
  }
  return kNothing;
}

void AddBios(TServer& server) {
  const TJson& item = BiosItem(server);
  std::string version = TextOf(server.system, "BiosVersion");
  if (version.empty()) version = TextOf(item, "Version");
  if (version.empty()) {
    server.service.Note(server.service.Client().Origin() + PlaceOf(server.system) +
                        ": no BIOS version");
    return;
  }
  const bool isSame = IsSameVersion(TextOf(item, "Version"), version);
  server.inventory.Add(SystemBios(version)
                           .Set("Manufacturer", isSame ? TextOf(item, "Manufacturer") : "")
                           .Set("ReleaseDate", isSame ? TextOf(item, "ReleaseDate") : ""));
  server.Tell({PlaceOf(server.system) + "/Bios", version, "bios uefi"});
}

// The managers that the system names as its own; where it names none, those that name it or no
// system at all.
std::vector<TJson> ManagersOf(TServer& server) {
  const auto named = PlacesOf(PartOf(server.system, "Links"), "ManagedBy");
  std::vector<TJson> managers;
  for (const std::string& place : named) {
    if (TJson manager = server.service.Read(place); manager.is_object()) {
      manager["@odata.id"] = place;
      managers.push_back(std::move(manager));
    }
  }
  if (!named.empty()) return managers;
  for (TJson& manager : server.service.Members(server.service.Root(), "Managers")) {
    const auto systems = PlacesOf(PartOf(manager, "Links"), "ManagerForServers");
    const bool isOwn = std::ranges::any_of(systems, [&server](const std::string& place) {
      return IsWithin(place, PlaceOf(server.system));
    });
    if (isOwn || systems.empty()) managers.push_back(std::move(manager));
  }
  return managers;
}

// Controllers of the server itself; others manage a rack or an enclosure, or are services.
bool IsBoardController(const TJson& manager) {
  const std::string kind = TextOf(manager, "ManagerType");
  return kind.empty() || kind == "BMC" || kind == "ManagementController";
}

void AddManager(const TJson& manager, TServer& server) {
  const std::string version = TextOf(manager, "FirmwareVersion");
  if (version.empty()) {
    server.service.Note(server.service.Client().Origin() + PlaceOf(manager) +
                        ": no firmware version");
    return;
  }
  const std::string model = TextOf(manager, "Model");
  const std::string name = model.empty() ? TextOf(manager, "Name") : model;
  if (IsBoardController(manager)) {
    server.inventory.Add(
        TInstance("QRXSG_IPMIFirmwareElement").Set("Name", name).Set("Version", version));
  } else {
    AddDevice({name, TextOf(manager, "Manufacturer"), version, "", {}, kRedfish}, server.inventory);
  }
  server.Tell({PlaceOf(manager), version, "bmc manage"});
}

// Of an item of the inventory, what tells whether a resource has said it already. The resources may
// be many, and so may be the items.
class TItem {
 public:
  explicit TItem(const TJson& item)
      : version(TextOf(item, "Version")),
        name(Lowered(TextOf(item, "Name") + " " + TextOf(item, "Id"))) {
    for (const std::string& place : PlacesOf(item, "RelatedItem")) {
      if (related.size() < kMaxRelated) related.push_back(Lowered(place));
    }
  }

  bool IsToldAs(const TServer::TTold& told) const {
    if (!IsSameVersion(told.version, version)) return false;
    const bool isRelated = std::ranges::any_of(
        related, [&told](const std::string& one) { return IsWithin(one, told.place); });
    return isRelated || std::ranges::any_of(Words(told.words), [this](const std::string& word) {
             return Contains(name, word);
           });
  }

 private:
  std::string version;
  std::string name;
  std::vector<std::string> related;
};

bool IsOfOtherSystem(const TJson& item, const TServer& server) {
  auto related = PlacesOf(item, "RelatedItem");
  related.resize(std::min(related.size(), kMaxRelated));
  return !related.empty() && std::ranges::all_of(related, [&server](const std::string& place) {
    return std::ranges::any_of(server.otherSystems, [&place](const std::string& system) {
      return IsWithin(place, system);
    });
  });
}

std::vector<std::string> SoftwareIdentifiers(const TJson& item) {
  const std::string id = TextOf(item, "SoftwareId");
  if (const std::string guid = Guid(id); !guid.empty()) return {guid};
  const std::string vendor = IdPart(TextOf(item, "Manufacturer"));
  if (vendor.empty() || id.empty()) return {};
  return {"REDFISH\\VENDOR_" + vendor + "&SOFTWAREID_" + IdPart(id)};
}

constexpr std::chrono::seconds kConnect{15};
constexpr std::chrono::seconds kStall{20};
constexpr std::chrono::minutes kTotal{10};
constexpr std::size_t kMostTold = std::size_t{4} << 20;  // No server has so much to tell.

std::string SessionsOf(const TJson& root) {
  return PlaceOf(PartOf(PartOf(root, "Links"), "Sessions"));
}

void ReadService(const ServiceOptions& options, const acquire::TWatch& watch,
                 acquire::ITransport& transport, TInventory& inventory) {
  TClient client(transport, watch, ServiceOrigin(options.url));
  inventory.Limit(kMostTold);
  TService service(client, inventory);
  service.Open();
  if (!options.user.empty())
    client.LogIn(SessionsOf(service.Root()), options.user, options.password);
  TServer server{service, inventory, options.redact};
  ReadServer(options.system, server);
}

// What goes to this machine without TLS goes by no other: a proxy would read it.
acquire::TProxyChoice ProxyFor(const std::string& origin) {
  acquire::TProxyChoice proxy;
  if (origin.starts_with("http://")) proxy.kind = acquire::TProxyChoice::EKind::kDirect;
  return proxy;
}

Outcome CollectFrom(const ServiceOptions& options) {
  const acquire::TTransportOptions transport{ProxyFor(ServiceOrigin(options.url)), options.caFile,
                                             kConnect, kStall};
  if (!options.user.empty() && !acquire::VerifiesBeforeSending(transport))
    throw TError(
        "on this system a password is not sent to a server that --ca-file vouches for; "
        "add the authority to the system's certificates instead",
        EErrorKind::kUsage);
  acquire::TMachineTime time;
  const acquire::TWatch watch(options.stopRequested, kTotal, time);
  TInventory inventory;
  ReadService(options, watch, *acquire::MakeTransport(transport), inventory);
  MergeDevices(options.devices, inventory);
  return {ToCimXml(inventory.Instances()), inventory.Notes()};
}

}  // namespace

void ReadFirmwareInventory(TServer& server) {
  for (const TJson& item : server.firmware) {
    const std::vector<std::string> identifiers = SoftwareIdentifiers(item);
    const TItem own(item);
    const bool isTold =
        identifiers.empty() &&
        std::ranges::any_of(server.told, [&own](const auto& told) { return own.IsToldAs(told); });
    const bool isAbsent = TextOf(PartOf(item, "Status"), "State") == "Absent";
    if (isTold || isAbsent || IsOfOtherSystem(item, server)) continue;
    // Some services call each of them "Software Inventory".
    const std::string name = TextOf(item, "Name");
    const bool isName = !name.empty() && !Contains(Lowered(name), "inventory");
    AddDevice({isName ? name : TextOf(item, "Id"), TextOf(item, "Manufacturer"),
               TextOf(item, "Version"), "", identifiers, kRedfish},
              server.inventory);
  }
}

void ReadServer(const std::string& id, TServer& server) {
  ChooseSystem(id, server);
  AddComputerSystem(server);
  const TJson updates =
      server.service.Read(PlaceOf(PartOf(server.service.Root(), "UpdateService")));
  server.firmware = server.service.Members(updates, "FirmwareInventory");
  AddBios(server);
  for (const TJson& manager : ManagersOf(server)) AddManager(manager, server);
  ReadDevices(server);
  ReadFirmwareInventory(server);
}

}  // namespace svc::collect

// The entry of libsvcheck-redfish.so.
extern "C" HOST_EXPORT void SvcheckCollectRedfish(const svc::collect::ServiceOptions& options,
                                                  svc::collect::Outcome& outcome) {
  outcome = svc::collect::CollectFrom(options);
}
