// The drivers that are installed, those that the catalogue offers, and pairing them by name.
//
// Each pair owes the trace its lines. Where the trace is kept every pair is visited; where it is
// not, only those that match, found by name, so that the work grows with the lists' lengths.
#include <algorithm>
#include <cstdint>
#include <deque>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/root_object.h"
#include "plugins/version_checker/drivers/driver_operations.h"
#include "plugins/version_checker/inventory/inventory_operations.h"
#include "plugins/version_checker/inventory/properties.h"
#include "rules/driver_list.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;

namespace svc::checker {

std::string_view FileNameOfPath(std::string_view pathText) {
  // Deliberate: see "A path without a backslash wraps" in docs/one-query.md.
  return pathText.substr(pathText.rfind('\\') + 1);
}

void TDriverOperations::SetRunningState(DriverRecord& record, const std::string& stateText) {
  LogTrace(rules::kStateFollows);
  LogTrace(stateText);
  record.running = stateText == "4";  // SERVICE_RUNNING of the service control manager.
}

void TDriverOperations::CollectInstalledDrivers(TDriverList& list,
                                                const TNamespaceHandle& inventory) {
  boost::shared_ptr<ICIMClass> driverClass;
  if (!FindClass(driverClass, inventory, rules::kDriverClass, PluginContext())) return;
  if (!driverClass) return;
  TInstanceList instances;
  AppendInstances(instances, driverClass, CIMContext());
  list.reserve(list.size() + instances.size());
  TPropertyReader paths;
  TPropertyReader versions;
  TKnownTexts<std::string_view> names;
  std::string text;
  for (const TInstanceHandle& instance : instances) {
    DriverRecord record;
    record.path = paths.Read(instance, rules::kDriverPath);
    record.version = versions.Read(instance, rules::kDriverVersion);
    // Deliberate: see "Path is read twice" in docs/one-query.md.
    const TSharedText path = paths.Read(instance, rules::kDriverPath);
    record.fileName = path.Part(names.Get(path, [&] { return FileNameOfPath(path); }));
    SetRunningState(record,
                    TInventoryOperations::GetPropertyValue(instance, rules::kDriverState, text));
    list.push_back(std::move(record));
  }
}

bool TDriverOperations::AppliesToOS(std::string_view systems, std::string_view osType) {
  // Deliberate: see "A code is found in a longer one" in docs/one-query.md.
  return systems.find(osType) != std::string_view::npos;
}

void TDriverOperations::CollectCatalogueDrivers(TDriverFiles& lists,
                                                const TInstanceList& updateElements,
                                                const std::string& osType) {
  TPropertyReader systems;
  TPropertyReader driverFiles;
  TKnownTexts<bool> known;
  for (const TInstanceHandle& element : updateElements) {
    const TSharedText text = systems.Look(element, rules::kUpdateSystems);
    if (!known.Get(text, [&] { return AppliesToOS(text, osType); })) continue;
    TSharedText files = driverFiles.Read(element, rules::kUpdateDriverFiles);
    if (!files.empty()) lists.push_back(std::move(files));
  }
}

namespace {

// Names in the form in which they are compared, each kept once, and numbered. Names that are one
// text in memory are looked at once. A name that has no number is nearly always told by its hash,
// which needs no copy of it in that form.
class TNames {
 public:
  static constexpr std::size_t kUnknown = static_cast<std::size_t>(-1);

  // For at most so many names.
  explicit TNames(std::size_t most) {
    std::size_t size = 16;
    while (size < most * 2) size *= 2;
    slots.resize(size);
  }
  std::size_t NumberOf(const TSharedText& name) {
    return known.Get(name, [&] { return Add(name); });
  }
  // kUnknown for a name that has no number.
  std::size_t Find(std::string_view name) {
    const TSlot& slot = slots[SlotOf(name, HashOf(name))];
    return slot.number;
  }
  // In the form in which they are compared.
  const std::string& operator[](std::size_t number) const { return names[number]; }
  std::size_t Count() const { return names.size(); }

 private:
  struct TSlot {
    std::uint64_t hash = 0;
    std::size_t number = kUnknown;
  };

  std::uint64_t HashOf(std::string_view name) const {
    return form.HashOf(name, reinterpret_cast<std::uintptr_t>(this));
  }
  // Of the name, or the free one where it belongs.
  std::size_t SlotOf(std::string_view name, std::uint64_t hash) {
    const std::size_t mask = slots.size() - 1;
    std::size_t at = hash & mask;
    for (; slots[at].number != kUnknown; at = (at + 1) & mask) {
      if (slots[at].hash == hash && names[slots[at].number] == form.Of(name)) break;
    }
    return at;
  }
  std::size_t Add(std::string_view name) {
    const std::uint64_t hash = HashOf(name);
    TSlot& slot = slots[SlotOf(name, hash)];
    if (slot.number == kUnknown) {
      slot = {hash, names.size()};
      names.emplace_back(form.Of(name));
    }
    return slot.number;
  }

  rules::TDriverNameForm form;
  TKnownTexts<std::size_t> known;
  std::deque<std::string> names;
  std::vector<TSlot> slots;  // Open addressing; half of them are free at least.
};

// An installed driver, with what every comparison with it needs.
struct TInstalled {
  const DriverRecord* record;
  std::size_t name;      // Its number.
  std::size_t sameName;  // The next driver of that name that takes part.
  bool isMarked;         // Goes by the marker of offered drivers.

  bool TakesPart() const { return record->running && !record->fileName.empty(); }
};

class TMatching {
 public:
  TMatching(const TDriverList& drivers, const TNamespaceHandle& results);
  void Match(const TSharedText& driverFiles);

 private:
  static constexpr std::size_t kEnd = static_cast<std::size_t>(-1);
  using TEntry = rules::TDriverListEntry;

  // The first installed driver that the name matches.
  std::size_t FirstNamed(std::string_view name);
  void MatchTraced(const TSharedText& list, const TEntry& offered);
  void MatchByName(const TSharedText& list, const TEntry& offered);
  // Whether no entry of the list matches an installed driver.
  bool MatchesNothing(std::string_view list);
  void Deliver(const TSharedText& list, const TEntry& offered, std::string_view name,
               const DriverRecord& match) const;
  const std::string& InstalledLine(std::size_t name);

  ILogger& logger;
  const TNamespaceHandle& results;
  rules::TDriverNameForm form;
  TNames names;
  std::vector<TInstalled> installed;    // All of them: those that do not take part are traced too.
  std::vector<std::size_t> firstNamed;  // By name.
  std::vector<std::size_t> marked;      // In order.
  std::vector<std::string> lines;       // "CurDriverName = " and the name, by name; once needed.
  TKnownTexts<bool> fruitless;
};

TMatching::TMatching(const TDriverList& drivers, const TNamespaceHandle& results)
    : logger(TRootObject::GetCoreLogger()), results(results), names(drivers.size()) {
  installed.reserve(drivers.size());
  for (const DriverRecord& record : drivers) {
    installed.push_back(
        {&record, names.NumberOf(record.fileName), kEnd, record.fileName == kOfferedMarker});
  }
  firstNamed.assign(names.Count(), kEnd);
  for (std::size_t i = installed.size(); i-- > 0;) {
    if (!installed[i].TakesPart()) continue;
    installed[i].sameName = std::exchange(firstNamed[installed[i].name], i);
    if (installed[i].isMarked) marked.push_back(i);
  }
  std::reverse(marked.begin(), marked.end());
}

void TMatching::Match(const TSharedText& driverFiles) {
  const bool isTraced = logger.IsLogged(kLogTrace);
  // A short one is not known again.
  const bool isKept = !isTraced && driverFiles.size() >= kLongText;
  if (isKept && fruitless.Get(driverFiles, [&] { return MatchesNothing(driverFiles); })) return;
  rules::CutDriverList(driverFiles, [&](const TEntry& offered) {
    if (!offered.IsOffered()) return;
    if (isTraced) {
      MatchTraced(driverFiles, offered);
    } else {
      MatchByName(driverFiles, offered);
    }
  });
}

std::size_t TMatching::FirstNamed(std::string_view name) {
  const std::size_t number = names.Find(name);
  return number == TNames::kUnknown ? kEnd : firstNamed[number];
}

bool TMatching::MatchesNothing(std::string_view list) {
  bool nothing = true;
  rules::CutDriverList(list, [&](const TEntry& offered) {
    if (!nothing || !offered.IsOffered()) return;
    nothing = marked.empty() && FirstNamed(offered.name) == kEnd;
  });
  return nothing;
}

const std::string& TMatching::InstalledLine(std::size_t name) {
  lines.resize(names.Count());
  if (lines[name].empty()) {
    lines[name] = std::string(rules::kInstalledName).append(names[name]);
  }
  return lines[name];
}

void TMatching::MatchTraced(const TSharedText& list, const TEntry& offered) {
  const std::string_view name = form.Of(offered.name);
  const std::size_t number = names.Find(offered.name);
  const std::string offeredLine = std::string(rules::kOfferedName).append(name);
  for (const TInstalled& candidate : installed) {
    if (!candidate.record->running) {
      logger.Log(kLogTrace, rules::kNotRunning);
      continue;
    }
    if (candidate.record->fileName.empty()) {
      logger.Log(kLogTrace, rules::kNameless);
      continue;
    }
    logger.Log(kLogTrace, InstalledLine(candidate.name));
    logger.Log(kLogTrace, offeredLine);
    if (candidate.name == number || candidate.isMarked) {
      Deliver(list, offered, name, *candidate.record);
    }
  }
}

// A driver that name and marker match is delivered once.
void TMatching::MatchByName(const TSharedText& list, const TEntry& offered) {
  std::size_t named = FirstNamed(offered.name);
  auto mark = marked.begin();
  if (named == kEnd && mark == marked.end()) return;
  const std::string_view name = form.Of(offered.name);
  while (named != kEnd || mark != marked.end()) {
    const std::size_t match = mark == marked.end() ? named : std::min(named, *mark);
    if (named == match) named = installed[match].sameName;
    if (mark != marked.end() && *mark == match) ++mark;
    Deliver(list, offered, name, *installed[match].record);
  }
}

void TMatching::Deliver(const TSharedText& list, const TEntry& offered, std::string_view name,
                        const DriverRecord& match) const {
  // Deliberate: see "A name and a word without a blank" in docs/one-query.md.
  LogJoined(kLogTrace,
            {"Name: ", name, "Version: ", match.version, " SV Version: ", offered.version});
  TInventoryOperations::DeliverInstance(results, std::string(rules::kDriverType), std::string(name),
                                        match.version, list.Part(offered.version));
}

}  // namespace

void TDriverOperations::CompareDrivers(const TDriverFiles& offered, const TDriverList& installed,
                                       const TNamespaceHandle& results) {
  TMatching matching(installed, results);
  for (const TSharedText& list : offered) matching.Match(list);
}

}  // namespace svc::checker
