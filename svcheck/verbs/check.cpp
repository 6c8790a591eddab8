// `svcheck check`: the comparison of one machine with a catalogue, for a person.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "rules/names.h"
#include "runtime/acquire/address.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/report_files.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

namespace fs = std::filesystem;

namespace svc {

namespace {

using TClock = std::chrono::steady_clock;

// Of the files that were downloaded.
std::optional<std::int64_t> NewestTime() {
  std::optional<std::int64_t> newest;
  for (const std::string& name : DownloadedFiles()) {
    newest = std::max(newest, TimeOf(DownloadFolder() / name));
  }
  return newest;
}

class TCheckVerb : public IVerb {
 public:
  explicit TCheckVerb(CLI::App& app);
  int Run() override;

 private:
  void DemandCatalogue() const;
  TQueryRequest MakeRequest();
  // Returns the exit status; a failure is told in the report and on standard error.
  int CompareOrTell(TQueryRequest request, report::TReport& report);
  void Compare(TQueryRequest request, report::TReport& report);
  void Tell(const std::string& error) const;
  // Shows what it is at, and sets what the query tells.
  void RunQuery(TQuerySession& session, TStatusLine& status, report::TReport& report);
  TJournal::TOnLoaded OnLoaded(TStatusLine& status);
  std::string CatalogueSize() const;
  static void Describe(const TQuerySession& session, report::TReport& report);
  void DescribeEnd(report::TReport& report) const;
  // What the records cover, and why there are none.
  void DescribeCoverage(const TQuerySession& session, report::TReport& report) const;
  // What is to be known of the download folder.
  void AddRemarks(report::TReport& report) const;
  void DescribeCatalogue(report::TReport& report) const;
  void ShowRequest(const TQueryRequest& request) const;
  void ShowTimings() const;
  bool WantsProgress() const;

  // Ends a phase that began where the last one ended.
  void EndPhase(const char* name);

  TQueryOptions options;
  TReportOptions reportOptions;
  std::string catalogue;
  std::string root = "/";
  std::string progress = "auto";
  std::string osUnknown = "compare";
  bool live = false;
  bool timings = false;
  bool verbose = false;
  bool isOfFolder = false;  // Whether a folder's catalogue is what the plug-in goes by.
  bool isOnScreen = false;  // Whether who reads standard error has the report before their eyes.
  std::vector<std::string> notes;  // Of the collector.

  TClock::time_point phaseStart = TClock::now();
  std::vector<report::TPhase> phases;
};

TCheckVerb::TCheckVerb(CLI::App& app) {
  const TOption folder = AddText(app, "--catalogue", catalogue, "Folder of the catalogue", "DIR");
  AddFlag(app, "--live", live, "Download the catalogue from --repository").Excludes(folder);
  const TOption inventory = AddInventoryOption(app, options);
  AddText(app, "--root", root, "Collect the inventory of another system tree", "DIR")
      .Excludes(inventory);
  AddMachineOption(app, options);
  AddReportOptions(app, reportOptions);
  AddWaiversOption(app, reportOptions);
  AddText(app, "--os-unknown", osUnknown,
          "Drivers' records for a system that catalogues have no code for", "WHAT")
      .OneOf({"compare", "skip-drivers"});
  AddText(app, "--progress", progress, "Show progress on standard error", "WHEN")
      .OneOf({"auto", "always", "never"});
  AddFlag(app, "--timings", timings, "Tell on standard error where the time went");
  AddUrgencyOption(app, options);
  AddFlag(app, "--verbose", verbose,
          "Tell on standard error what is compared by which plug-in, and where the time went")
      .Excludes(AddQuiet(app));
  AddQueryOptions(app, options);
}

void TCheckVerb::EndPhase(const char* name) {
  const auto end = TClock::now();
  phases.push_back({name, std::chrono::duration<double>(end - phaseStart).count()});
  phaseStart = end;
}

bool TCheckVerb::WantsProgress() const {
  return progress == "always" || (progress == "auto" && !IsQuiet() && StandardErrorIsTerminal());
}

void TCheckVerb::DemandCatalogue() const {
  if (live || !catalogue.empty()) return;
  throw TError("there is nothing to compare with: give --catalogue DIR, or --live",
               EErrorKind::kUsage);
}

// A plug-in of somebody else may have no use for a catalogue, which is seen when it is loaded.
TQueryRequest TCheckVerb::MakeRequest() {
  if (reportOptions.waiversFile == kStandardInput &&
      std::ranges::count(options.inventories, kStandardInput) > 0) {
    throw TError("standard input is either the inventory or the waivers: give a file for one",
                 EErrorKind::kUsage);
  }
  if (options.plugin.empty()) DemandCatalogue();
  if (live && options.repository.empty() && !options.offline) {
    throw TError("a live check needs --repository URL", EErrorKind::kUsage);
  }
  if (live || !catalogue.empty())
    options.context.push_back(std::string(rules::kCatalogueEntry) + "=" +
                              (live ? rules::kLive : Absolute(catalogue).string()));
  return RequestOf(options);
}

int TCheckVerb::Run() {
  TQueryRequest request = MakeRequest();
  TReportOutput output(reportOptions);
  report::TReport report;
  report.tool = "svcheck";
  report.toolVersion = SVCHECK_VERSION;
  report.generated = std::chrono::duration_cast<std::chrono::seconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
  DescribeCatalogue(report);
  isOnScreen = output.IsOnScreen();
  if (isOnScreen) {
    acquire::TSettings downloads = acquire::GetSettings();
    downloads.isReported = true;
    acquire::SetSettings(std::move(downloads));
  }
  timings = timings || verbose;
  int status = CompareOrTell(std::move(request), report);
  if (timings) report.timings = phases;
  status = output.Show(report, status);
  EndPhase("report");
  if (timings) ShowTimings();
  return status;
}

int TCheckVerb::CompareOrTell(TQueryRequest request, report::TReport& report) {
  int status = kExitDone;
  const fs::path dataFolder = request.dataFolder;
  isOfFolder = !live && !catalogue.empty();
  try {
    Compare(std::move(request), report);
    status = ExitStatusOf(report.outcome);
  } catch (const std::exception& error) {
    status = StatusOf(error);
    if (status == kExitUsage) throw;
    report.outcome = report::EOutcome::kFailed;
    report.errors.push_back(ReasonOf(error));
  }
  const bool areNotesShown = report.outcome == report::EOutcome::kUnknownMachine && isOnScreen;
  if (!areNotesShown) std::ranges::for_each(notes, ReportNote);
  if (isOfFolder && status == kExitFailure && !HasMemoryRunOut() &&
      TellOfCatalogueToo(Absolute(catalogue), dataFolder, report)) {
    status = ExitStatusOf(report.outcome);
  }
  // A download has told of its failure already.
  const bool told =
      report.outcome == report::EOutcome::kDownloadFailed && !acquire::LastOutcome().text.empty();
  if (status != kExitDone && !told) Tell(FailureLine(report));
  return status;
}

// What the report says on the same terminal is not said twice.
void TCheckVerb::Tell(const std::string& error) const {
  if (!isOnScreen) ReportError(error);
}

void TCheckVerb::Compare(TQueryRequest request, report::TReport& report) {
  const auto waivers = LoadWaivers(reportOptions.waiversFile);
  TStatusLine status(WantsProgress() ? stderr : nullptr);
  status.Show(request.inventories.empty() ? "Collecting the inventory" : "Reading the inventory");
  CompleteInventory(request, root, notes);
  status.Clear();
  if (verbose) ShowRequest(request);
  TQuerySession session(std::move(request));
  if (session.IsOfOurPlugin()) {
    DemandCatalogue();
  } else {
    isOfFolder = false;  // What it makes of a folder is its own affair.
  }
  EndPhase("inventory");
  Describe(session, report);
  RunQuery(session, status, report);
  UseWaivers(reportOptions.waiversFile, waivers, report);
  if (report.outcome == report::EOutcome::kUnknownMachine) {
    report.errors.insert(report.errors.end(), notes.begin(), notes.end());
  }
  if (const std::string_view advice = AdviceOn(report); !advice.empty()) {
    report.errors.emplace_back(advice);
  }
}

void TCheckVerb::RunQuery(TQuerySession& session, TStatusLine& status, report::TReport& report) {
  TLogFile log(options);
  TDownloadWatch download(WantsProgress());
  if (!live) status.Show("Loading the catalogue" + CatalogueSize());
  session.Run({.log = log.Logger(),
               .onLoaded = OnLoaded(status),
               .download = &download,
               .wantsUpdates = true});
  status.Clear();
  EndPhase("comparison");
  session.Conclude(report);
  DescribeEnd(report);
  if (report::WasCompared(report.outcome) && session.Catalogue()) {
    report.catalogue.date = DateOf(session.Catalogue(), report.generated);
  }
  // What the plug-in of somebody else compares is its own affair.
  if (session.IsOfOurPlugin() && report::WasCompared(report.outcome)) {
    DescribeCoverage(session, report);
  }
  log.DemandWhole();
}

// Both the phases and the status line want to know when the catalogue is loaded; without either the
// query need not trace that far.
TJournal::TOnLoaded TCheckVerb::OnLoaded(TStatusLine& status) {
  if (!timings && !WantsProgress()) return {};
  return [this, &status] {
    EndPhase("catalogue");
    status.Show("Comparing");
  };
}

std::string TCheckVerb::CatalogueSize() const {
  std::error_code error;
  if (catalogue.empty()) return {};
  const auto size = fs::file_size(Absolute(catalogue) / rules::kIndexFile, error);
  return error ? "" : ", " + SizeText(size);
}

void TCheckVerb::DescribeEnd(report::TReport& report) const {
  if (report.outcome == report::EOutcome::kDownloadFailed) {
    report.errors.insert(report.errors.begin(), acquire::LastOutcome().text);
  }
  // Of a catalogue that was not read to its end a count would say nothing.
  if (ExitStatusOf(report.outcome) != kExitDone) report.catalogue.elements.reset();
  if (live) report.catalogue.modified = NewestTime();
  NameNumberProperty(report);
  if (live) AddRemarks(report);
}

void TCheckVerb::DescribeCoverage(const TQuerySession& session, report::TReport& report) const {
  const bool withoutDrivers = report.osKnown == false && osUnknown == "skip-drivers";
  report.coverage =
      CoverageOf({session.Inventory(), session.Catalogue(), *session.Records(), report.machine.type,
                  SystemCodeIn(session.Inventory()).value_or(""), live, withoutDrivers});
  if (withoutDrivers) {
    report.driversLeftOut = report::KeepOnly(
        report, [](const report::TRecord& record) { return record.type != rules::kDriverType; });
  }
  if (report.outcome != report::EOutcome::kNothingApplicable || !session.Catalogue()) return;
  report.nothingComparedBecause = WhyNothingApplies(report, MachineTypesIn(session.Catalogue()));
}

void TCheckVerb::AddRemarks(report::TReport& report) const {
  if (options.offline) report.errors.push_back(RemarkOnOffline());
  const std::vector<std::string> names = FilesNotOffered(acquire::LastOutcome());
  if (names.empty()) return;
  report.errors.push_back(RemarkOnFilesNotOffered(names) + "; " + AdviceOnFilesNotOffered());
  if (!IsQuiet()) Tell(report.errors.back());
}

void TCheckVerb::Describe(const TQuerySession& session, report::TReport& report) {
  report.plugin = session.Plugin().Name();
  report.pluginVersion = session.Plugin().Version();
  report.machine = MachineIn(session.Inventory());
  report.system = SystemIn(session.Inventory());
  if (!session.IsOfOurPlugin()) return;
  if (const auto code = SystemCodeIn(session.Inventory())) report.osKnown = !code->empty();
}

void TCheckVerb::DescribeCatalogue(report::TReport& report) const {
  if (live) {
    report.catalogue.source = "live";
    report.catalogue.path = acquire::ShownAddress(options.repository);
  } else {
    report.catalogue = catalogue.empty() ? report::TCatalogue{"folder", {}, {}, {}}
                                         : CatalogueIn(Absolute(catalogue));
  }
}

void TCheckVerb::ShowRequest(const TQueryRequest& request) const {
  ReportNote("the plug-in is " + request.plugin.string());
  ReportNote("the data folder is " + request.dataFolder.string());
  for (const fs::path& file : SettingFiles()) {
    std::error_code error;
    if (fs::exists(file, error)) ReportNote("settings are in " + file.string());
  }
  if (isOfFolder) ReportNote("the catalogue is " + Absolute(catalogue).string());
  if (live) ReportNote("the repository is " + acquire::ShownAddress(options.repository));
  if (request.inventories.empty()) ReportNote("the inventory is that of " + root);
  for (const std::string& file : request.inventories) ReportNote("the inventory is in " + file);
}

void TCheckVerb::ShowTimings() const {
  double total = 0;
  for (const report::TPhase& phase : phases) {
    std::fprintf(stderr, "%-12s %9.3f s\n", phase.name.c_str(), phase.seconds);
    total += phase.seconds;
  }
  std::fprintf(stderr, "%-12s %9.3f s\n", "total", total);
}

}  // namespace

std::unique_ptr<IVerb> MakeCheck(CLI::App& app) { return std::make_unique<TCheckVerb>(app); }

}  // namespace svc
