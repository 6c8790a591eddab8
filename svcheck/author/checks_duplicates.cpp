// Checks of elements against each other.
#include <algorithm>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>

#include "rules/names.h"
#include "svcheck/author/checks.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

namespace {

// So many at most of the elements that share a text are looked at, so that the time stays in
// proportion to the catalogue.
constexpr std::size_t kCompared = 64;

using TSeen = std::unordered_map<std::string, std::vector<const TUpdate*>>;

template <typename T>
bool HaveCommon(const std::set<T>& left, const std::set<T>& right) {
  if (&left == &right) return !left.empty();
  return std::any_of(left.begin(), left.end(),
                     [&](const T& item) { return right.count(item) != 0; });
}

bool ShareMachine(const TUpdate& left, const TUpdate& right) {
  return HaveCommon(*left.machineTypes, *right.machineTypes);
}

std::string Place(const TUpdate& update) {
  return "also at " + update.file->name + ":" + std::to_string(update.element->line);
}

// The first earlier element with the text for which `meets` holds; null for none. Remembers this
// one for later elements.
template <typename TMeets>
const TUpdate* FindEarlier(TSeen& seen, const std::string& text, const TUpdate& update,
                           TMeets meets) {
  std::vector<const TUpdate*>& earlier = seen[text];
  const auto found = std::find_if(earlier.begin(), earlier.end(), meets);
  const TUpdate* const result = found == earlier.end() ? nullptr : *found;
  if (earlier.size() < kCompared) earlier.push_back(&update);
  return result;
}

std::string_view VersionOf(const TUpdate& update) {
  return OfferedVersion(update.element->Text(rules::kUpdateVersion));
}

// An earlier element that offers another version for the component of a machine type.
const TUpdate* FindConflict(TSeen& seen, const std::string& component, const TUpdate& update) {
  const TUpdate* conflict = nullptr;
  for (const std::string& type : *update.machineTypes) {
    const TUpdate* const earlier =
        FindEarlier(seen, component + '\x01' + type, update,
                    [&](const TUpdate* other) { return VersionOf(*other) != VersionOf(update); });
    if (conflict == nullptr) conflict = earlier;
  }
  return conflict;
}

// Whether a machine has one of the component at most.
bool IsOfOne(EComponent component) {
  return component == EComponent::kBios || component == EComponent::kUefi ||
         component == EComponent::kDiagnostics;
}

}  // namespace

void CheckNoElements(const std::vector<TUpdate>& updates, TTell& tell) {
  const auto& files = tell.Catalogue().files;
  const auto loaded = std::find_if(files.begin(), files.end(), [](const TFile& file) {
    return file.isLoaded && !file.unreadable && !file.malformed;
  });
  if (updates.empty() && loaded != files.end()) tell.Of(*loaded, 0);
}

void CheckDuplicateElement(const std::vector<TUpdate>& updates, TTell& tell) {
  std::unordered_map<std::uint64_t, const TUpdate*> seen;
  for (const TUpdate& update : updates) {
    const auto [earlier, isNew] = seen.emplace(update.digest, &update);
    if (!isNew) tell.Of(update, {}, Place(*earlier->second));
  }
}

void CheckDuplicateName(const std::vector<TUpdate>& updates, TTell& tell) {
  TSeen seen;
  for (const TUpdate& update : updates) {
    if (update.name.empty()) continue;
    const TUpdate* const earlier =
        FindEarlier(seen, std::string(update.name), update,
                    [&](const TUpdate* other) { return ShareMachine(*other, update); });
    const bool isSame = earlier != nullptr && earlier->digest == update.digest;
    if (earlier != nullptr && !isSame) tell.Of(update, rules::kUpdateName, Place(*earlier));
  }
}

namespace {

class TDuplicateDriver : public ISeriesCheck {
 public:
  void Look(const TUpdate& update, TTell& tell) override {
    if (update.IsAdapter()) return;
    for (const TDriverEntry& driver : *update.drivers) {
      const TUpdate* const earlier =
          FindEarlier(seen, ComparedName(driver.name), update, [&](const TUpdate* other) {
            return other == &update ||
                   (ShareMachine(*other, update) && HaveCommon(*other->systems, *update.systems) &&
                    other->digest != update.digest);
          });
      if (earlier != nullptr) {
        tell.Of(update, rules::kUpdateDriverFiles, Quoted(driver.name) + ", " + Place(*earlier));
      }
    }
  }

 private:
  TSeen seen;
};

}  // namespace

std::unique_ptr<ISeriesCheck> BeginDuplicateDriver() {
  return std::make_unique<TDuplicateDriver>();
}

void CheckConflictingFirmware(const std::vector<TUpdate>& updates, TTell& tell) {
  TSeen seen;
  for (const TUpdate& update : updates) {
    for (const EComponent component :
         {update.isBios ? EComponent::kBios : EComponent::kNone, update.component}) {
      if (!IsOfOne(component)) continue;
      const std::string name(RowOf(component).name);
      const TUpdate* const earlier = FindConflict(seen, name, update);
      if (earlier != nullptr) tell.Of(update, rules::kUpdateVersion, name + ", " + Place(*earlier));
    }
  }
}

}  // namespace svc::catalogue
