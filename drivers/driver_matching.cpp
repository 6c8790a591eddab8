// Pairing offered and installed drivers by name.
//
// Each pair owes the trace its lines. Where the trace is kept every pair is visited; where it is
// not, only those that match, found by name, so that the work grows with the lists' lengths.
#include <algorithm>
#include <cctype>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "drivers/driver_record.h"
#include "host/hskcore/root_object.h"
#include "inventory/trace.h"
#include "plugin/contents/sv_plugin.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;
namespace rules = svc::rules;

TDriverNameForm::TDriverNameForm() {
  for (std::size_t i = 0; i < upperCase.size(); ++i) {
    upperCase[i] = static_cast<char>(std::toupper(static_cast<int>(i)));
  }
}

std::string_view TDriverNameForm::Of(std::string_view name) {
  normalised = name.substr(0, name.find('.'));
  for (char& character : normalised) {
    character = upperCase[static_cast<unsigned char>(character)];
  }
  return normalised;
}

namespace {

// An installed driver, with what every comparison with it needs.
struct TInstalled {
  const DriverRecord* record;
  std::string name;       // Normalised.
  std::string traceLine;  // "CurDriverName = " and the name; empty until it is traced.

  bool TakesPart() const { return record->running && !record->fileName.empty(); }
};
using TInstalledList = std::vector<TInstalled>;

// Installed drivers that take part, found by a text of theirs. A chain of such drivers is a list of
// their numbers, the lowest first.
class TDriverIndex {
 public:
  using TTextOf = std::string_view (*)(const TInstalled& driver);
  static constexpr std::size_t kEnd = static_cast<std::size_t>(-1);

  // The texts are the drivers' own, which must stay where they are.
  TDriverIndex(const TInstalledList& drivers, TTextOf textOf);
  // The first driver of the text; kEnd when there is none.
  std::size_t Find(std::string_view text) const;
  std::size_t After(std::size_t driver) const { return following[driver]; }

 private:
  std::unordered_map<std::string_view, std::size_t> firsts;
  std::vector<std::size_t> following;
};

TDriverIndex::TDriverIndex(const TInstalledList& drivers, TTextOf textOf)
    : following(drivers.size(), kEnd) {
  firsts.reserve(drivers.size());
  for (std::size_t i = drivers.size(); i-- > 0;) {
    if (!drivers[i].TakesPart()) continue;
    const auto [entry, isNew] = firsts.try_emplace(textOf(drivers[i]), i);
    if (!isNew) following[i] = std::exchange(entry->second, i);
  }
}

std::size_t TDriverIndex::Find(std::string_view text) const {
  const auto entry = firsts.find(text);
  return entry == firsts.end() ? kEnd : entry->second;
}

TInstalledList Normalised(const TDriverList& drivers, TDriverNameForm& form) {
  TInstalledList list;
  list.reserve(drivers.size());
  for (const DriverRecord& record : drivers) {
    list.push_back({&record, std::string(form.Of(record.fileName)), {}});
  }
  return list;
}

class TMatching {
 public:
  TMatching(const TDriverList& installed, const TNamespaceHandle& results);
  void Match(const DriverRecord& offered);

 private:
  void MatchTraced(const DriverRecord& offered, std::string_view name);
  void MatchByIndex(const DriverRecord& offered, std::string_view name);
  // The first driver that the marker matches.
  std::size_t FirstMarked(const std::string& marker);
  void Deliver(const DriverRecord& offered, std::string_view name, const DriverRecord& match) const;

  ILogger& logger;
  const TNamespaceHandle& results;
  TDriverNameForm form;
  TInstalledList installed;  // All of them: those that do not take part are traced too.
  const TDriverIndex byName;
  const TDriverIndex byFileName;  // As it stands, for the offered record's marker.
  std::string lastMarker;         // Offered drivers have all the same: it is looked up once.
  std::size_t firstMarked;
};

TMatching::TMatching(const TDriverList& installedDrivers, const TNamespaceHandle& results)
    : logger(TRootObject::GetCoreLogger()),
      results(results),
      installed(Normalised(installedDrivers, form)),
      byName(installed, [](const TInstalled& driver) { return std::string_view(driver.name); }),
      byFileName(
          installed,
          [](const TInstalled& driver) { return std::string_view(driver.record->fileName); }),
      firstMarked(byFileName.Find(lastMarker)) {}

void TMatching::Match(const DriverRecord& offered) {
  const std::string_view name = form.Of(offered.fileName);
  if (logger.IsLogged(kLogTrace)) {
    MatchTraced(offered, name);
  } else {
    MatchByIndex(offered, name);
  }
}

void TMatching::MatchTraced(const DriverRecord& offered, std::string_view name) {
  const std::string offeredLine = std::string(rules::kOfferedName).append(name);
  for (TInstalled& candidate : installed) {
    if (!candidate.record->running) {
      logger.Log(kLogTrace, rules::kNotRunning);
      continue;
    }
    if (candidate.record->fileName.empty()) {
      logger.Log(kLogTrace, rules::kNameless);
      continue;
    }
    if (candidate.traceLine.empty()) {
      candidate.traceLine = std::string(rules::kInstalledName).append(candidate.name);
    }
    logger.Log(kLogTrace, candidate.traceLine);
    logger.Log(kLogTrace, offeredLine);
    if (candidate.name == name || candidate.record->fileName == offered.marker) {
      Deliver(offered, name, *candidate.record);
    }
  }
}

std::size_t TMatching::FirstMarked(const std::string& marker) {
  if (marker != lastMarker) {
    firstMarked = byFileName.Find(marker);
    lastMarker = marker;
  }
  return firstMarked;
}

// A driver that name and marker match is delivered once.
void TMatching::MatchByIndex(const DriverRecord& offered, std::string_view name) {
  std::size_t named = byName.Find(name);
  std::size_t marked = FirstMarked(offered.marker);
  while (named != TDriverIndex::kEnd || marked != TDriverIndex::kEnd) {
    const std::size_t match = std::min(named, marked);
    if (named == match) named = byName.After(named);
    if (marked == match) marked = byFileName.After(marked);
    Deliver(offered, name, *installed[match].record);
  }
}

void TMatching::Deliver(const DriverRecord& offered, std::string_view name,
                        const DriverRecord& match) const {
  LogJoined(kLogTrace,
            {"Name: ", name, "Version: ", match.version, " SV Version: ", offered.version});
  TSVPluginCallbacks::DeliverInstance(results, std::string(rules::kDriverType), std::string(name),
                                      match.version, offered.version);
}

}  // namespace

void TSVPluginCallbacks::CompareDrivers(const TDriverList& offered, const TDriverList& installed,
                                        const TNamespaceHandle& results) {
  TMatching matching(installed, results);
  for (const DriverRecord& record : offered) matching.Match(record);
}
