// How the resources of a service are read, and what is told of those that are not there.
#include "collect/redfish/redfish.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/error.h"
#include "runtime/acquire/outcome.h"

namespace svc::collect {
namespace {

constexpr const char* kRoot = "/redfish/v1/";
constexpr const char* kNextPage = "Members@odata.nextLink";
constexpr std::size_t kMaxMembers = 2000;  // Of one collection or list.
constexpr std::size_t kMaxNotes = 1000;

bool IsTrue(const TJson& resource, const char* name) {
  const TJson& value = PartOf(resource, name);
  return value.is_boolean() && value.get<bool>();
}

// The query by which a collection brings its members with it (DSP0266, "The $expand query
// parameter"); the period stands for what is not below Links.
std::string ExpandQuery(const TJson& root) {
  const TJson& offered = PartOf(PartOf(root, "ProtocolFeaturesSupported"), "ExpandQuery");
  if (!IsTrue(offered, "NoLinks")) return "";
  return IsTrue(offered, "Levels") ? "?$expand=.($levels=1)" : "?$expand=.";
}

// Whether a member came with its properties; a reference has annotations alone.
bool IsWhole(const TJson& member) {
  return std::ranges::any_of(
      member.items(), [](const auto& item) { return item.key().find('@') == std::string::npos; });
}

std::string_view WithoutSlashes(std::string_view place) {
  while (place.ends_with('/')) place.remove_suffix(1);
  return place;
}

}  // namespace

const TJson& PartOf(const TJson& resource, const char* name) {
  static const TJson kNothing;
  if (!resource.is_object()) return kNothing;
  const auto found = resource.find(name);
  return found == resource.end() ? kNothing : *found;
}

std::string TextOf(const TJson& resource, const char* name) {
  const TJson& value = PartOf(resource, name);
  return value.is_string() ? CleanText(value.get_ref<const std::string&>()) : std::string();
}

std::vector<TJson> ListOf(const TJson& resource, const char* name) {
  const TJson& list = PartOf(resource, name);
  if (!list.is_array()) return {};
  const std::size_t count = std::min(list.size(), kMaxMembers);
  return {list.begin(), list.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::string PlaceOf(const TJson& reference) { return TextOf(reference, "@odata.id"); }

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
    for (TJson& member : ListOf(resource.content, "Members")) {
      if (members.size() < kMaxMembers && member.is_object()) members.push_back(std::move(member));
    }
    page = members.size() < kMaxMembers ? TextOf(resource.content, kNextPage) : "";
    if (page.empty() && members.size() >= kMaxMembers)
      Note(fmt::format("{}{}: more than {} members", client.Origin(), place, kMaxMembers));
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
