// Checks of a catalogue as a text: whom its elements are for, how their properties are written, its
// files as a whole, and elements that say the same or contradict each other.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <string>
#include <unordered_map>

#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "runtime/xmlparser/cim_elements.h"
#include "svcheck/author/rules.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {
namespace {

using rules::kSystemCodes;

constexpr std::string_view kMachineTypes = rules::kUpdateMachineTypes;
constexpr std::string_view kSystems = rules::kUpdateSystems;

bool NamesSystem(const std::string& entry) {
  return std::any_of(kSystemCodes.begin(), kSystemCodes.end(), [&](const auto& code) {
    return Mentions(entry, code.code) || Mentions(entry, code.family);
  });
}

bool NamesSystemExactly(const std::string& entry) {
  return std::any_of(kSystemCodes.begin(), kSystemCodes.end(), [&](const auto& code) {
    return Contains(entry, code.code) || Contains(entry, code.family);
  });
}

bool HasMarks(const std::string& entry) { return !rules::MarkedItems(entry).empty(); }

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

void CheckMachineTypesMissing(const TUpdate& update, TTell& tell) {
  if (update.Values(kMachineTypes).empty()) tell.Of(update, kMachineTypes);
}

void CheckMachineTypeMarks(const TUpdate& update, TTell& tell) {
  for (const std::string& entry : update.Values(kMachineTypes)) {
    if (!HasMarks(entry)) tell.Of(update, kMachineTypes, Quoted(entry));
  }
}

void CheckMachineTypeUnreachable(const TUpdate& update, TTell& tell) {
  for (const std::string& type : *update.machineTypes) {
    if (type.empty() || report::Trim(type) != type)
      tell.Of(update, kMachineTypes, Quoted(rules::Marked(type)));
  }
}

void CheckDriversWithoutSystem(const TUpdate& update, TTell& tell) {
  if (!update.drivers->empty() && update.Values(kSystems).empty()) tell.Of(update, kSystems);
}

void CheckSystemsMissing(const TUpdate& update, TTell& tell) {
  if (update.drivers->empty() && update.Values(kSystems).empty()) tell.Of(update, kSystems);
}

// Once for the catalogue, at the first such name: a system without a code is no mistake.
void CheckSystemUnknown(const std::vector<TUpdate>& updates, TTell& tell) {
  const TUpdate* first = nullptr;
  std::set<std::string> names;
  for (const TUpdate& update : updates) {
    for (const std::string& entry : update.Values(kSystems)) {
      if (NamesSystem(entry)) continue;
      if (first == nullptr) first = &update;
      names.insert(entry);
    }
  }
  if (first == nullptr) return;
  constexpr std::size_t kNamed = 3;
  std::string detail;
  std::size_t named = 0;
  for (const std::string& name : names) {
    if (named++ == kNamed) break;
    detail += (detail.empty() ? "" : ", ") + Quoted(name);
  }
  if (names.size() > kNamed) detail += " and " + std::to_string(names.size() - kNamed) + " more";
  tell.Of(*first, kSystems, detail);
}

void CheckSystemCase(const TUpdate& update, TTell& tell) {
  if (update.drivers->empty()) return;
  for (const std::string& entry : update.Values(kSystems)) {
    if (NamesSystem(entry) && !NamesSystemExactly(entry)) {
      tell.Of(update, kSystems, Quoted(entry));
    }
  }
}

void CheckFamilyMissing(const TUpdate& update, TTell& tell) {
  if (!tell.Catalogue().isLive) return;
  const std::string_view text = update.element->Text(kSystems);
  std::string missing;
  for (const auto& code : kSystemCodes) {
    if (!Mentions(text, code.code) || Contains(text, code.family)) continue;
    if (Contains(missing, code.family)) continue;
    missing += missing.empty() ? "" : ", ";
    missing += code.family;
  }
  if (!missing.empty()) tell.Of(update, kSystems, missing);
}

// --- How an element's properties are written ---

// How many letters one word has and the other has not. Typing errors change few.
static int LettersApart(std::string_view left, std::string_view right) {
  std::array<int, 256> counts{};
  for (const char c : Lowered(left)) ++counts[static_cast<unsigned char>(c)];
  for (const char c : Lowered(right)) --counts[static_cast<unsigned char>(c)];
  int apart = 0;
  for (const int count : counts) apart += std::abs(count);
  return apart;
}

static bool LooksLike(std::string_view name, std::string_view known) {
  constexpr int kNear = 2;
  return LettersApart(name, known) <= kNear;
}

void CheckNameMissing(const TUpdate& update, TTell& tell) {
  if (update.name.empty()) tell.Of(update, rules::kUpdateName);
}

void CheckPropertyMistyped(const TUpdate& update, TTell& tell) {
  const TElement& element = *update.element;
  for (const auto& property : element.properties) {
    const std::string& name = property->name;
    for (const rules::TUpdateProperty& known : rules::kUpdateProperties) {
      if (!LooksLike(name, known.name)) continue;
      if (tell.Catalogue().classes.Declares(element.className, name)) break;
      tell.Of(update, name, name + " for " + std::string(known.name));
    }
  }
}

void CheckPropertyForm(const TUpdate& update, TTell& tell) {
  for (const rules::TUpdateProperty& known : rules::kUpdateProperties) {
    const TProperty* const property = update.element->Find(known.name);
    if (property == nullptr || property->isArray == known.isArray) continue;
    tell.Of(update, known.name, std::string(known.name));
  }
}

void CheckPropertyType(const TUpdate& update, TTell& tell) {
  for (const rules::TUpdateProperty& known : rules::kUpdateProperties) {
    const TProperty* const property = update.element->Find(known.name);
    if (property == nullptr || property->type.empty() || property->type == "string") continue;
    tell.Of(update, known.name, std::string(known.name) + " is a " + property->type);
  }
}

// --- Files as a whole ---

static void TellProblem(const std::optional<TProblem>& problem, const TFile& file, TTell& tell) {
  if (problem) tell.Of(file, problem->line, problem->cause);
}

// Whether an element of the file names one of the families.
static bool IsFor(const TFile& file, std::string_view family) {
  return std::any_of(file.elements.begin(), file.elements.end(), [&](const TElement& element) {
    return Mentions(element.Text(rules::kUpdateSystems), family);
  });
}

void CheckUnreadable(const TFile& file, TTell& tell) { TellProblem(file.unreadable, file, tell); }
void CheckMalformed(const TFile& file, TTell& tell) { TellProblem(file.malformed, file, tell); }
void CheckRefused(const TFile& file, TTell& tell) { TellProblem(file.refused, file, tell); }

void CheckDialectMissing(const TFile& file, TTell& tell) {
  if (file.isLoaded && !file.unreadable && !file.dialect) tell.Of(file, 1);
}

void CheckDialectOld(const TFile& file, TTell& tell) {
  if (!file.dialect || xml::IsDialect402(file.dialect->version)) return;
  tell.Of(file, file.dialect->line, Quoted(file.dialect->version));
}

void CheckNotLoaded(const TFile& file, TTell& tell) {
  if (!file.isLoaded) tell.Of(file, 0);
}

void CheckPassedOverOnLinux(const TFile& file, TTell& tell) {
  if (tell.Catalogue().isLive && Contains(file.name, rules::kForWindowsMark) &&
      IsFor(file, rules::kLinux)) {
    tell.Of(file, 0);
  }
}

void CheckPassedOverOnWindows(const TFile& file, TTell& tell) {
  if (tell.Catalogue().isLive && Contains(file.name, rules::kForLinuxMark) &&
      IsFor(file, rules::kWindows)) {
    tell.Of(file, 0);
  }
}

void CheckOtherClass(const TFile& file, TTell& tell) {
  for (const TElement& other : file.others) tell.Of(file, other.line, Quoted(other.className));
}

// --- Elements against each other ---

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
