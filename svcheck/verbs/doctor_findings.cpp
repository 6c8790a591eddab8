#include "svcheck/verbs/doctor_findings.h"

#include <chrono>

#include "base/shown_text.h"
#include "collect/collector.h"
#include "host/acquire/download_manager.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "report/text.h"
#include "rules/names.h"
#include "runtime/acquire/address.h"
#include "runtime/acquire/engine.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

using namespace NQRXHSK20;
namespace fs = std::filesystem;
namespace svc {

constexpr std::int64_t kOldCatalogue = 180 * 86'400;

// What `look` finds; where it fails, `failed` with the reason behind its text.
template <typename TLook>
static TFinding Examine(TFinding failed, const TLook& look) {
  try {
    return look();
  } catch (const std::exception& error) {
    failed.text += error.what();
    return failed;
  }
}

static boost::shared_ptr<ICIMNamespace> ReadDefinitions(const fs::path& dataFolder) {
  const auto target = MakeInMemoryNamespace();
  TNamespacePopulator::PopulateFromXMLFile(target,
                                           (dataFolder / "sv" / "sv.definitions.xml").string());
  return target;
}

static std::int64_t AgeOf(const fs::path& file) {
  std::error_code error;
  const auto time = fs::last_write_time(file, error);
  if (error) return 0;
  return std::chrono::duration_cast<std::chrono::seconds>(fs::file_time_type::clock::now() - time)
      .count();
}

// The folder itself or, while it does not exist, the nearest one above it that does.
static fs::path NearestFolder(fs::path folder) {
  std::error_code error;
  while (!fs::exists(folder, error) && folder.has_relative_path()) folder = folder.parent_path();
  return folder;
}

// In seconds: of the catalogue's own date where it has one, or else of the copy.
static std::int64_t AgeOf(const fs::path& index,
                          const boost::shared_ptr<ICIMNamespace>& catalogue) {
  const std::int64_t now = std::chrono::duration_cast<std::chrono::seconds>(
                               std::chrono::system_clock::now().time_since_epoch())
                               .count();
  const auto date = DateOf(catalogue, now);
  return date ? now - *date : AgeOf(index);
}

static TFinding GoodCatalogue(const fs::path& index,
                              const boost::shared_ptr<ICIMNamespace>& catalogue) {
  const std::size_t elements = InstancesOf(catalogue, rules::kUpdateClass).size();
  const std::int64_t age = AgeOf(index, catalogue);
  TFinding finding{"catalogue",
                   EFinding::kGood,
                   index.parent_path().string() + ", " + Counted(elements, "update element") +
                       ", " + report::Age(age) + " old",
                   {}};
  if (elements == 0) {
    finding.kind = EFinding::kWarning;
    finding.advice = "it offers nothing: get the catalogue anew";
  } else if (age > kOldCatalogue) {
    finding.kind = EFinding::kWarning;
    finding.advice = "newer updates may be out: get the catalogue anew";
  }
  return finding;
}

static TFinding MachineOf(const boost::shared_ptr<ICIMNamespace>& inventory) {
  const std::string type = MachineIn(inventory).type;
  if (!type.empty()) return {"machine", EFinding::kGood, "type " + type, {}};
  return {
      "machine", EFinding::kProblem, "the machine type cannot be told",
      "run this as root; where the firmware tells nothing, as in a container, collect elsewhere "
      "and give the file with --inventory"};
}

TFinding ExamineSettings() {
  std::string text;
  for (const fs::path& file : SettingFiles()) {
    std::error_code error;
    text += (text.empty() ? "" : ", ") + file.string() + (fs::exists(file, error) ? "" : " (none)");
  }
  return {"settings", EFinding::kGood, text, {}};
}

TFinding ExaminePlugin(const fs::path& plugin) {
  return Examine({"plug-in", EFinding::kProblem, "",
                  "install svcheck anew, or name the plug-in with --plugin"},
                 [&]() -> TFinding {
                   const TLoadedPlugin loaded(plugin);
                   return {"plug-in", EFinding::kGood,
                           loaded.Name() + ' ' + loaded.Version() + ", " + plugin.string(), ""};
                 });
}

TFinding ExamineDataFolder(const fs::path& folder) {
  return Examine({"data folder", EFinding::kProblem, "",
                  "install svcheck anew, or name the folder that holds sv/ with --data-dir"},
                 [&]() -> TFinding {
                   ReadDefinitions(folder);
                   return {"data folder", EFinding::kGood, folder.string(), ""};
                 });
}

TFinding ExamineCatalogue(const std::string& catalogue, const fs::path& dataFolder) {
  if (catalogue.empty()) {
    return {"catalogue", EFinding::kUnset, "none is named",
            "give --catalogue DIR, or set catalogue in " + SettingFiles().back().string()};
  }
  const fs::path folder = Absolute(catalogue);
  const TCatalogueFolder found = LoadCatalogueFolder(folder, dataFolder);
  if (found.outcome == report::EOutcome::kDone) {
    return GoodCatalogue(folder / rules::kIndexFile, found.elements);
  }
  report::TReport failed;
  failed.outcome = found.outcome;
  failed.errors = {found.cause};
  return {"catalogue", EFinding::kProblem, found.cause, std::string(AdviceOn(failed))};
}

TFinding ExamineStateFolder() {
  const fs::path folder = StateFolder();
  const fs::path nearest = NearestFolder(folder);
  if (MayWriteTo(nearest)) return {"state folder", EFinding::kGood, folder.string(), {}};
  return {"state folder", EFinding::kWarning, "nothing can be written to " + nearest.string(),
          "downloads are not possible: give this user the right to write there"};
}

std::vector<TFinding> ExamineSources() {
  std::vector<TFinding> findings;
  try {
    for (const collect::SourceState& source : collect::LoadCollector().TrySources()) {
      const bool isGood = source.problem.empty();
      findings.push_back({source.subject, isGood ? EFinding::kGood : EFinding::kWarning,
                          source.place + (isGood ? "" : ": ") + source.problem, source.advice});
    }
  } catch (const std::runtime_error&) {
    // That nothing can be collected is told of the inventory.
  }
  return findings;
}

std::vector<TFinding> ExamineInventory() {
  std::vector<std::string> told;
  std::vector<TFinding> findings = {
      Examine({"inventory", EFinding::kWarning, "",
               "collect it elsewhere and give the file with --inventory"},
              [&] {
                std::vector<std::string> notes;
                const std::string document = CollectInventory("/", false, notes);
                const auto inventory = MakeInMemoryNamespace();
                DeclareBuiltinClasses(inventory);
                ParseDocument(inventory, document);
                told = std::move(notes);
                return MachineOf(inventory);
              })};
  for (const std::string& note : told) {
    findings.push_back({"inventory", EFinding::kWarning, note, {}});
  }
  return findings;
}

namespace {

class TSilentCallback : public KPLAcquistion::AcquireCallbackIfc {
 public:
  void onStatus(std::int32_t /*kind*/, const std::string& /*text*/,
                std::int32_t /*code*/) override {}
};

// A folder that is gone with its holder.
class TScratchFolder {
 public:
  TScratchFolder() : path(MakeScratchFolder("doctor")) {}
  ~TScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  TScratchFolder(const TScratchFolder&) = delete;
  TScratchFolder& operator=(const TScratchFolder&) = delete;

  std::string Download() const { return (path / "download").string(); }
  // Serials that are accepted here do not count elsewhere.
  std::string State() const { return (path / "state").string(); }

 private:
  fs::path path;
};

acquire::TOutcome Fetch(const TQueryOptions& options) {
  const TScratchFolder folder;
  ApplyDownloadSettings(options);
  acquire::TDownloadJob job;
  job.folder = folder.Download();
  job.settings = acquire::GetSettings();
  job.settings.stateFolder = folder.State();
  job.settings.limits.attempts = 1;
  const auto run = acquire::FindInModule<acquire::TEngineFunction>(acquire::kEngineModule,
                                                                   acquire::kEngineFunction);
  TSilentCallback callback;
  acquire::TOutcome outcome;
  run(job, callback, outcome);
  return outcome;
}

TFinding RepositoryOf(const TQueryOptions& options, const std::string& shown,
                      const acquire::TOutcome& outcome) {
  if (!outcome.text.empty()) {
    return {"repository", EFinding::kProblem, outcome.text,
            "number " + std::to_string(static_cast<int>(outcome.code)) +
                " of the table in docs/live-mode.md"};
  }
  const std::string state =
      shown + (options.repositoryKey.empty() ? ", reachable, not signed"
                                             : ", reachable, its signature is good");
  const std::vector<std::string> names = FilesNotOffered(outcome);
  if (names.empty()) return {"repository", EFinding::kGood, state, {}};
  return {"repository", EFinding::kWarning, state + "; " + RemarkOnFilesNotOffered(names),
          AdviceOnFilesNotOffered()};
}

}  // namespace

TFinding ExamineRepository(const TQueryOptions& options) {
  if (options.repository.empty()) {
    return {"repository", EFinding::kUnset, "none is named",
            "give --repository URL where catalogues are to be downloaded"};
  }
  const std::string shown = acquire::ShownAddress(options.repository);
  if (options.repositoryKey.empty() && !options.allowUnsigned) {
    return {"repository", EFinding::kProblem, shown + ": nobody is named to trust",
            "give the publisher's public key with --repository-key FILE"};
  }
  if (options.offline) {
    return {"repository", EFinding::kUnset, shown + " is not asked, being offline", {}};
  }
  return Examine({"repository", EFinding::kProblem, "", "check the folder for temporary files"},
                 [&] {
                   if (!options.driveRoot.empty())
                     SetDriveRoot(Absolute(options.driveRoot).string());
                   return RepositoryOf(options, shown, Fetch(options));
                 });
}

// What the comparison itself says.

static TFinding SystemOf(const TQuerySession& session) {
  constexpr const char* kSubject = "operating system";
  const auto code = SystemCodeIn(session.Inventory());
  if (!code) {
    return {kSubject, EFinding::kWarning, "the inventory does not tell it",
            "collect the inventory anew"};
  }
  if (!code->empty()) return {kSubject, EFinding::kGood, "known to catalogues as " + *code, {}};
  return {
      kSubject, EFinding::kWarning,
      "catalogues have no code for it: drivers are compared with those that are offered for any",
      "to leave the drivers out, give `svcheck check` the option --os-unknown skip-drivers"};
}

static TFinding ComparisonOf(const report::TReport& report) {
  const report::TSummary summary = report::Summarize(report);
  const std::string reason = report::StateReason(report, summary);
  TFinding finding{"comparison", EFinding::kWarning, reason, {}};
  switch (report::StateOf(report, summary)) {
    case report::EState::kUpdates:
    case report::EState::kCurrent:
      finding.kind = EFinding::kGood;
      finding.text = std::to_string(summary.compared) + " of " +
                     Counted(report::RecordsOf(report).size(), "record") + " could be ordered";
      break;
    case report::EState::kNothingCompared:
      finding.text = "nothing can be compared: " + reason;
      finding.advice = "get a catalogue for this machine, or name its type with --machine";
      break;
    case report::EState::kFailed:
      finding.advice = AdviceOn(report);
      if (finding.advice.empty()) finding.advice = "mend what is told above";
  }
  return finding;
}

static TQueryRequest RequestFor(TQueryOptions options, const std::string& catalogue) {
  options.context.push_back(std::string(rules::kCatalogueEntry) + '=' +
                            Absolute(catalogue).string());
  TQueryRequest request = RequestOf(options);
  std::vector<std::string> told;  // Of the inventory.
  CompleteInventory(request, "/", told);
  return request;
}

std::vector<TFinding> ExamineComparison(const TQueryOptions& options,
                                        const std::string& catalogue) {
  std::vector<TFinding> findings;
  TFinding last = Examine({"comparison", EFinding::kWarning, "", "mend what is told above"}, [&] {
    TQuerySession session(RequestFor(options, catalogue));
    if (session.IsOfOurPlugin()) findings.push_back(SystemOf(session));
    report::TReport report;
    report.machine = MachineIn(session.Inventory());
    report.catalogue.source = "folder";
    report.catalogue.path = Absolute(catalogue).string();
    session.Run();
    session.Conclude(report);
    if (report.outcome == report::EOutcome::kNothingApplicable && session.Catalogue()) {
      report.nothingComparedBecause =
          WhyNothingApplies(report, MachineTypesIn(session.Catalogue()));
    }
    return ComparisonOf(report);
  });
  findings.push_back(std::move(last));
  return findings;
}

}  // namespace svc
