// What a query found, as a report has it.

#include <utility>

#include "host/hskcore/cim.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/catalogue_folder.h"
#include "svcheck/session/driver_sources.h"
#include "svcheck/session/instances.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/record_spool.h"
#include "svcheck/system/paths.h"

using namespace NQRXHSK20;
namespace fs = std::filesystem;
namespace svc {

namespace {

fs::path CatalogueIn(const CIMContext& context) {
  const auto entry = context.find(rules::kCatalogueEntry);
  return entry == context.end() ? fs::path() : PathOf(static_cast<std::string>(entry->second));
}

}  // namespace

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
