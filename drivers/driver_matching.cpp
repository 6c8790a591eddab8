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

using namespace NQRXHSK20;

std::string NormalisedDriverName(std::string name) {
  name.resize(std::min(name.find('.'), name.size()));
  std::transform(name.begin(), name.end(), name.begin(), [](unsigned char character) {
    return static_cast<char>(std::toupper(character));
  });
  return name;
}

namespace {

// An installed driver that takes part, with what every comparison with it needs.
struct TInstalled {
  const DriverRecord* record;
  std::string name;       // Normalised.
  std::string traceLine;  // "CurDriverName = " and the name.
};

class TMatching {
 public:
  TMatching(const TDriverList& installed, const TNamespaceHandle& results);
  void Match(const DriverRecord& offered);

 private:
  using TIndexList = std::vector<std::size_t>;
  using TIndex = std::unordered_map<std::string_view, TIndexList>;

  void MatchTraced(const DriverRecord& offered, const std::string& name);
  void MatchByIndex(const DriverRecord& offered, const std::string& name);
  static const TIndexList& Find(const TIndex& index, const std::string& key);
  const TIndexList& Marked(const std::string& marker);
  void Deliver(const DriverRecord& offered, const std::string& name,
               const DriverRecord& match) const;

  ILogger& logger;
  const TNamespaceHandle& results;
  std::vector<TInstalled> installed;  // All of them: those that do not take part are traced too.
  TIndex byName;                      // Of those that take part, as are the two below.
  TIndex byFileName;                  // As it stands, for the offered record's marker.
  std::string lastMarker;             // Offered drivers have all the same: it is looked up once.
  const TIndexList* marked = nullptr;
};

TMatching::TMatching(const TDriverList& installedDrivers, const TNamespaceHandle& results)
    : logger(TRootObject::GetCoreLogger()), results(results) {
  installed.reserve(installedDrivers.size());  // The index holds views of the names.
  for (const DriverRecord& record : installedDrivers) {
    std::string name = NormalisedDriverName(record.fileName);
    std::string line = "CurDriverName = " + name;
    installed.push_back({&record, std::move(name), std::move(line)});
    if (!record.running || record.fileName.empty()) continue;
    byName[installed.back().name].push_back(installed.size() - 1);
    byFileName[record.fileName].push_back(installed.size() - 1);
  }
}

void TMatching::Match(const DriverRecord& offered) {
  const std::string name = NormalisedDriverName(offered.fileName);
  if (logger.IsLogged(kLogTrace)) {
    MatchTraced(offered, name);
  } else {
    MatchByIndex(offered, name);
  }
}

void TMatching::MatchTraced(const DriverRecord& offered, const std::string& name) {
  const std::string offeredLine = "SVDriverName = " + name;
  for (const TInstalled& candidate : installed) {
    if (!candidate.record->running) {
      logger.Log(kLogTrace, "Skipping this driver comparison coz it's not up and running.");
      continue;
    }
    if (candidate.record->fileName.empty()) {
      logger.Log(kLogTrace, "CurDriverName is NULL");
      continue;
    }
    logger.Log(kLogTrace, candidate.traceLine);
    logger.Log(kLogTrace, offeredLine);
    if (candidate.name == name || candidate.record->fileName == offered.marker) {
      Deliver(offered, name, *candidate.record);
    }
  }
}

const TMatching::TIndexList& TMatching::Find(const TIndex& index, const std::string& key) {
  static const TIndexList kNone;
  const auto entry = index.find(key);
  return entry == index.end() ? kNone : entry->second;
}

const TMatching::TIndexList& TMatching::Marked(const std::string& marker) {
  if (marked == nullptr || marker != lastMarker) {
    marked = &Find(byFileName, marker);
    lastMarker = marker;
  }
  return *marked;
}

void TMatching::MatchByIndex(const DriverRecord& offered, const std::string& name) {
  const TIndexList& byItsName = Find(byName, name);
  const TIndexList& byItsMarker = Marked(offered.marker);
  if (byItsName.empty() && byItsMarker.empty()) return;
  TIndexList matches;
  std::set_union(byItsName.begin(), byItsName.end(), byItsMarker.begin(), byItsMarker.end(),
                 std::back_inserter(matches));
  for (const std::size_t match : matches) Deliver(offered, name, *installed[match].record);
}

void TMatching::Deliver(const DriverRecord& offered, const std::string& name,
                        const DriverRecord& match) const {
  LogJoined(kLogTrace,
            {"Name: ", name, "Version: ", match.version, " SV Version: ", offered.version});
  TSVPluginCallbacks::DeliverInstance(results, "Driver", name, match.version, offered.version);
}

}  // namespace

void TSVPluginCallbacks::CompareDrivers(const TDriverList& offered, const TDriverList& installed,
                                        const TNamespaceHandle& results) {
  TMatching matching(installed, results);
  for (const DriverRecord& record : offered) matching.Match(record);
}
