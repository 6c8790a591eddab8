// What a query found, as a report has it.

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "host/hskcore/cim.h"
#include "report/text.h"
#include "rules/driver_list.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/spool.h"
#include "svcheck/system/paths.h"

using namespace NQRXHSK20;
namespace fs = std::filesystem;
namespace svc {

// --- Drivers of the same source ---

namespace {

// Longer than the texts of any module. Many drivers may share one that is longer still.
constexpr std::size_t kLongest = 256;

// Empty for a text that is too long.
std::string_view ShortText(const ICIMInstance& instance, std::string_view property) {
  const auto view = StoredView(instance, property);
  return view && view->size() <= kLongest ? *view : std::string_view();
}

// What drivers of a name and a version were built of.
class TSources {
 public:
  void Add(std::string_view name, std::string_view version, std::string_view source) {
    names.emplace(name);
    const auto [known, isNew] = sources.try_emplace(KeyOf(name, version), source);
    if (!isNew && known->second != source) known->second.clear();
  }
  // Empty where none is known, or more than one.
  std::string_view Find(std::string_view name, std::string_view version) const {
    const auto found = sources.find(KeyOf(name, version));
    return found == sources.end() ? std::string_view() : found->second;
  }
  bool Knows(std::string_view name) const { return names.count(std::string(name)) > 0; }
  bool IsEmpty() const { return sources.empty(); }

 private:
  static std::string KeyOf(std::string_view name, std::string_view version) {
    return std::string(name).append(1, '\0').append(version);
  }

  std::unordered_set<std::string> names;
  std::unordered_map<std::string, std::string> sources;
};

// One that does not state its source counts as one that may be of another.
TSources InstalledIn(const boost::shared_ptr<ICIMNamespace>& inventory) {
  TSources sources;
  rules::TDriverNameForm form;
  std::vector<boost::shared_ptr<ICIMInstance>> silent;
  for (const auto& driver : InstancesOf(inventory, rules::kDriverClass)) {
    const std::string_view source = report::Trim(ShortText(*driver, rules::kDriverSource));
    if (source.empty()) {
      silent.push_back(driver);
      continue;
    }
    std::string_view file = ShortText(*driver, rules::kDriverPath);
    file.remove_prefix(file.rfind('\\') + 1);
    if (file.empty()) continue;
    sources.Add(form.Of(file), ShortText(*driver, rules::kDriverVersion), source);
  }
  if (sources.IsEmpty()) return sources;
  for (const auto& driver : silent) {
    std::string_view file = ShortText(*driver, rules::kDriverPath);
    file.remove_prefix(file.rfind('\\') + 1);
    const std::string_view name = form.Of(file);
    if (sources.Knows(name)) sources.Add(name, ShortText(*driver, rules::kDriverVersion), "");
  }
  return sources;
}

// Of the drivers that are installed. A list that many elements inherit is read once.
TSources OfferedIn(const boost::shared_ptr<ICIMNamespace>& catalogue, const TSources& installed) {
  TSources sources;
  rules::TDriverNameForm form;
  std::unordered_set<const char*> known;
  for (const auto& element : InstancesOf(catalogue, rules::kUpdateClass)) {
    const auto list = StoredView(*element, rules::kUpdateDriverSources);
    if (!list || !known.insert(list->data()).second) continue;
    rules::CutDriverList(*list, [&](const rules::TDriverListEntry& entry) {
      const std::size_t colon = entry.name.find(':');
      if (colon == entry.name.npos || colon == 0 || entry.name.size() > kLongest) return;
      const std::string_view name = form.Of(entry.name.substr(colon + 1));
      if (installed.Knows(name) && entry.version.size() <= kLongest) {
        sources.Add(name, entry.version, entry.name.substr(0, colon));
      }
    });
  }
  return sources;
}

class TSourcedRecords : public report::IRecordSource {
 public:
  TSourcedRecords(std::shared_ptr<const report::IRecordSource> records, TSources installed,
                  TSources offered)
      : records(std::move(records)), installed(std::move(installed)), offered(std::move(offered)) {}

  std::size_t Count() const noexcept override { return records->Count(); }
  void Read(std::size_t number, report::TRecord& record) const override {
    records->Read(number, record);
    record.hasSameSource = IsOfSameSource(record);
    if (record.hasSameSource) record.compared = report::EVerdict::kCurrent;
  }

 private:
  bool IsOfSameSource(const report::TRecord& record) const {
    if (record.type != rules::kDriverType) return false;
    const std::string_view source = installed.Find(record.name, record.installed);
    return !source.empty() && source == offered.Find(record.name, record.offered);
  }

  std::shared_ptr<const report::IRecordSource> records;
  TSources installed;
  TSources offered;
};

}  // namespace

std::shared_ptr<const report::IRecordSource> WithSources(
    std::shared_ptr<const report::IRecordSource> records,
    const boost::shared_ptr<ICIMNamespace>& inventory,
    const boost::shared_ptr<ICIMNamespace>& catalogue) {
  if (!catalogue || records->Count() == 0) return records;
  TSources installed = InstalledIn(inventory);
  if (installed.IsEmpty()) return records;
  TSources offered = OfferedIn(catalogue, installed);
  if (offered.IsEmpty()) return records;
  return std::make_shared<TSourcedRecords>(std::move(records), std::move(installed),
                                           std::move(offered));
}

// --- The report ---

static fs::path CatalogueIn(const CIMContext& context) {
  const auto entry = context.find(rules::kCatalogueEntry);
  return entry == context.end() ? fs::path() : PathOf(static_cast<std::string>(entry->second));
}

void TQuerySession::Conclude(report::TReport& report) const {
  if (!report.catalogue.elements) report.catalogue.elements = CountElements();
  report.source = WithSources(NamedRecords(), inventory, catalogue);
  if (request.onlyUrgency != kAnyUrgency) {
    report::KeepOnly(report, [&](const report::TRecord& record) {
      return record.release && report::IsUrgent(*record.release, request.onlyUrgency);
    });
  }
  report::JudgeEach(report);
  if (IsForPublicFirmware()) {
    ConcludePublicFirmware(end, report);
    return;
  }
  TQueryEnd told = end;
  told.isOther = !IsOfOurPlugin();
  journal->Conclude(told, printed, report);
  // A query prints the same of an index that is missing and of one that cannot be opened.
  if (report.outcome == report::EOutcome::kNoCatalogue && HasIndex(CatalogueIn(request.context))) {
    report.outcome = report::EOutcome::kUnreadableCatalogue;
  }
  if (plugin->Companion() != nullptr) ConcludeCompanion(report);
}

bool TQuerySession::IsForPublicFirmware() const { return plugin->Name() == kPublicFirmwareName; }

// A failure of the first plug-in stays what it is; what the companion found is found all the same.
void TQuerySession::ConcludeCompanion(report::TReport& report) const {
  if (!report::WasCompared(report.outcome)) return;
  report::TReport own;
  own.catalogue = report.catalogue;
  own.source = StoredRecords();
  ConcludePublicFirmware(companionEnd, own);
  if (report::WasCompared(own.outcome) && own.outcome != report::EOutcome::kDone) return;
  report.outcome = own.outcome;
  report.errors.insert(report.errors.begin(), own.errors.begin(), own.errors.end());
}

std::shared_ptr<const report::IRecordSource> TQuerySession::Records() const {
  if (!spool) return StoredRecords();
  const auto stored = StoredRecords();
  if (stored->Count() == 0) return spool;
  return report::Joined(spool, stored);
}

std::shared_ptr<const report::IRecordSource> TQuerySession::StoredRecords() const {
  auto instances = InstancesOf(inventory, rules::kResultClass);
  instances.erase(instances.begin(),
                  instances.begin() + static_cast<std::ptrdiff_t>(recordsBefore));
  return RecordsOfInstances(std::move(instances));
}

std::shared_ptr<const report::IRecordSource> TQuerySession::NamedRecords() const {
  if (!origins) return Records();
  const fs::path data = request.dataFolder / "sv";
  std::vector<TRecordOrigins::TDocument> documents;
  const auto add = [&](const std::string& name, const fs::path& folder) {
    documents.push_back({name, (folder / PathOf(name)).string()});
  };
  add("sv.definitions.xml", data);
  if (IsLive(request.context)) {
    add("header.xml", data);
    for (const std::string& name : journal->LoadedFiles()) add(name, DownloadFolder());
  } else {
    add(rules::kIndexFile, CatalogueIn(request.context));
  }
  return origins->With(Records(), catalogue, documents);
}

std::optional<std::uint64_t> TQuerySession::CountElements() const {
  if (!catalogue) return {};
  return InstancesOf(catalogue, IsForPublicFirmware() ? kOfferClass : rules::kUpdateClass).size();
}

}  // namespace svc
