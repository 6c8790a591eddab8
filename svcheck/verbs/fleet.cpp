// `svcheck fleet`: the comparison of many machines with one catalogue.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "base/shown_text.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/fleet/comparison.h"
#include "svcheck/fleet/inputs.h"
#include "svcheck/fleet/machine_check.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/fleet/workers.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/report_files.h"
#include "svcheck/session/request.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

namespace svc {

namespace {

using fleet::TResultReader;
using fleet::TTask;

constexpr int kMostJobs = 1024;
// Seconds: a comparison takes milliseconds, of a large inventory on a busy machine some seconds.
constexpr int kUsualTime = 600;
constexpr int kMostTime = 7 * 24 * 60 * 60;
// So many answers for each worker wait at most for the one before them.
constexpr std::uint64_t kAhead = 32;

struct TFleetOptions {
  TQueryOptions query;
  std::string catalogue;
  std::vector<std::string> inventories;
  std::vector<std::string> merged;
  std::string output = "-";
  std::string shard;
  std::string logFolder;
  std::string json;
  std::string table;
  std::string html;
  std::string failOn = "none";
  std::string waivers;
  std::string progress = "auto";
  std::optional<std::uint64_t> maxAge;  // Of the catalogue, in days.
  int jobs = 0;
  int machineTimeout = kUsualTime;
  bool resume = false;
};

// What is made of the results beside their lines.
class TReports {
 public:
  explicit TReports(const TFleetOptions& options)
      : options(options), condition(fleet::ConditionOf(options.failOn)) {
    if (!options.html.empty()) pages.emplace(Absolute(options.html).string(), Catalogue());
    if (!options.json.empty()) json = OpenOutput(options.json);
    if (!options.table.empty()) table = OpenOutput(options.table);
  }

  // `counted` is as the comparison's; null where nothing is known.
  void Add(const std::string& machine, std::string_view lines,
           fleet::TSummary::TCounted* counted = nullptr) {
    if (counted != nullptr) {
      summary.Add(lines, *counted);
    } else {
      summary.Add(lines);
    }
    if (pages) pages->Add(machine, lines);
  }

  const fleet::TSummary& Summary() const noexcept { return summary; }
  void AddNotices(const std::vector<std::string>& notices) { summary.AddNotices(notices); }

  // Returns the exit status.
  int Finish() {
    if (pages) pages->Finish(summary);
    Show(json, fleet::WriteJson);
    Show(table, fleet::WriteTable);
    return fleet::Holds(condition, summary) ? kExitCondition : kExitDone;
  }

 private:
  // Results that are merged do not say what they were compared with.
  report::TCatalogue Catalogue() const {
    return options.catalogue.empty() ? report::TCatalogue()
                                     : CatalogueIn(Absolute(options.catalogue));
  }

  using TWrite = void (*)(const fleet::TSummary&, report::IOutput&);
  void Show(const std::unique_ptr<TOutput>& output, TWrite write) {
    if (!output) return;
    write(summary, *output);
    output->Commit();
  }

  const TFleetOptions& options;
  fleet::TCondition condition;
  fleet::TSummary summary;
  std::optional<fleet::TPages> pages;
  std::unique_ptr<TOutput> json;
  std::unique_ptr<TOutput> table;
};

class TFleetVerb : public IVerb, private fleet::IComparedMachines {
 public:
  explicit TFleetVerb(CLI::App& app);
  int Run() override;

 private:
  void AddOutputs(CLI::App& app);
  void CheckOptions() const;
  fleet::TCheckSettings MakeSettings() const;
  int Jobs() const;
  int Merge();
  // The machines that the output holds already.
  std::deque<std::string> OpenResults();
  // The next machine of this run.
  std::optional<TTask> Next() override;
  bool IsReady() override { return inputs->IsReady(); }
  void Take(const std::string& machine, std::string_view lines,
            fleet::TSummary::TCounted* counted) override;
  void TellOfTime();
  // Throws TError where a path held none.
  void DemandMachines() const;
  bool WantsProgress() const;
  void ShowProgress();

  TFleetOptions options;
  fleet::TShard shard;
  std::optional<fleet::TInputs> inputs;
  std::uint64_t machines = 0;  // Of all, read so far.
  std::deque<std::string> done;
  std::optional<fleet::TResultFile> results;
  std::optional<TReports> reports;
  std::optional<TStatusLine> status;
  std::chrono::steady_clock::time_point shown{};  // The status line, last.
};

TFleetVerb::TFleetVerb(CLI::App& app) {
  AddText(app, "--catalogue", options.catalogue, "Folder of the catalogue", "DIR");
  AddTexts(app, "--inventories", options.inventories,
           "CIM-XML files, folders of them, or files with one machine a line, as `svcheck collect "
           "--format ndjson` writes; each may be compressed; \"-\" is such lines from standard "
           "input",
           "PATH...")
      .CommandLineOnly();
  AddText(app, "--output", options.output, "Where the results go; \"-\" is standard output", "FILE")
      .CommandLineOnly();
  AddNumber(app, "--jobs", options.jobs, "Compare so many machines at once; 0 for one a processor",
            "N")
      .Within(0, kMostJobs)
      .ShowDefault();
  AddNumber(app, "--machine-timeout", options.machineTimeout,
            "Seconds after which a machine without an answer has failed; 0 for no limit", "SECONDS")
      .Within(0, kMostTime)
      .ShowDefault();
  const TOption part = AddText(app, "--shard", options.shard,
                               "Compare only the machines I, N + I, 2 N + I, ...", "I/N");
  const TOption resume = AddFlag(app, "--resume", options.resume,
                                 "Go on with the output of a run that was interrupted");
  part.CommandLineOnly();
  resume.CommandLineOnly();
  AddTexts(app, "--merge", options.merged,
           "Compare nothing: put the results of shards, given in their order, together", "FILE...")
      .Excludes(part)
      .Excludes(resume)
      .CommandLineOnly();
  AddOutputs(app);
  AddJudgedPluginOptions(app, options.query);
}

void TFleetVerb::AddOutputs(CLI::App& app) {
  AddText(app, "--json", options.json, "Where a summary for programs goes", "FILE")
      .CommandLineOnly();
  AddText(app, "--table", options.table, "Where a summary for people goes", "FILE")
      .CommandLineOnly();
  AddText(app, "--html", options.html, "Folder for a page a machine, and an index of them", "DIR")
      .CommandLineOnly();
  AddText(app, "--logs", options.logFolder, "Folder for the plug-in's logs, one a machine", "DIR")
      .CommandLineOnly();
  AddText(app, "--fail-on", options.failOn,
          "End with status 2 when a record of some machine is outdated, unknown or newer, when "
          "nothing of one was compared, or different: any of these; or when a machine failed",
          "CONDITIONS")
      .ListOf({"outdated", "unknown", "newer", "nothing", "different", "failed"}, "none")
      .CommandLineOnly();
  AddText(app, "--waivers", options.waivers,
          "Records that are accepted as they are, whichever machine has them", "FILE");
  AddCount(app, "--max-age", options.maxAge, "Warn of a catalogue that is older than so many days",
           "DAYS");
  AddText(app, "--progress", options.progress,
          "Show on standard error how many machines are compared", "WHEN")
      .OneOf({"auto", "always", "never"});
  AddQuiet(app);
}

void TFleetVerb::CheckOptions() const {
  if (options.output.empty()) {
    throw TError("the name of the output is empty; name a file", EErrorKind::kUsage);
  }
  if (!options.merged.empty()) return;
  if (options.catalogue.empty()) {
    throw TError("there is nothing to compare with: give --catalogue DIR", EErrorKind::kUsage);
  }
  if (options.inventories.empty()) {
    throw TError("there is nothing to compare: give --inventories PATH...", EErrorKind::kUsage);
  }
  if (options.resume && options.output == "-") {
    throw TError("only a file can be gone on with: give --output FILE with --resume",
                 EErrorKind::kUsage);
  }
  const bool isTaken = options.output == "-";
  if ((options.json == "-") + (options.table == "-") + isTaken > 1) {
    throw TError("standard output takes one of results and summaries; give the others a file",
                 EErrorKind::kUsage);
  }
}

fleet::TCheckSettings TFleetVerb::MakeSettings() const {
  fleet::TCheckSettings settings;
  settings.query = options.query;
  settings.catalogue = Absolute(options.catalogue).string();
  if (!options.waivers.empty()) settings.waivers = Absolute(options.waivers).string();
  if (!options.logFolder.empty()) {
    settings.logFolder = Absolute(options.logFolder).string();
    std::error_code error;
    std::filesystem::create_directories(PathOf(settings.logFolder), error);
    if (error) throw TError("cannot make the folder " + options.logFolder + ": " + error.message());
  }
  return settings;
}

int TFleetVerb::Jobs() const {
  if (options.jobs > 0) return options.jobs;
  return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMostJobs);
}

int TFleetVerb::Run() {
  CheckOptions();
  shard = fleet::ShardOf(options.shard);
  // What a person runs by hand ends with something to read.
  const bool isSummaryAsked =
      !options.json.empty() || !options.table.empty() || !options.html.empty();
  if (!isSummaryAsked && options.output != "-" && !IsQuiet()) options.table = "-";
  reports.emplace(options);
  if (!options.merged.empty()) {
    results.emplace(options.output);
    fleet::MergeResults(options.merged, [&](const TResultReader::TMachine& machine) {
      results->Write(machine.lines);
      reports->Add(machine.name, machine.lines);
    });
    results->Close();
    return reports->Finish();
  }
  fleet::DemandInventories(options.inventories);
  const auto workers =
      fleet::StartWorkers(Jobs(), std::chrono::seconds(options.machineTimeout), MakeSettings());
  TellOfTime();
  inputs.emplace(options.inventories);
  done = OpenResults();
  if (options.output != "-") {
    SetInterruptionHint("interrupted; what was compared is in " + options.output +
                        ": the same command goes on behind it with --resume");
  }
  status.emplace(WantsProgress() ? stderr : nullptr);
  // A machine's log is its own.
  const std::uint64_t ahead = kAhead * static_cast<std::uint64_t>(Jobs());
  fleet::TComparison(*workers, *this, ahead, options.logFolder.empty()).Run();
  status->Clear();
  results->Close();
  const int ended = reports->Finish();
  DemandMachines();
  return ended;
}

// Of what is the same for every machine: waivers that have expired, and a catalogue that is too
// old.
void TFleetVerb::TellOfTime() {
  report::TReport none;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  none.generated = std::chrono::duration_cast<std::chrono::seconds>(now).count();
  UseWaivers(options.waivers, LoadWaivers(options.waivers), none);
  if (!options.maxAge) return;
  const auto folder = Absolute(options.catalogue);
  none.catalogue = CatalogueIn(folder);
  const TCatalogueFolder loaded = LoadCatalogueFolder(folder, RequestOf(options.query).dataFolder);
  if (loaded.elements) none.catalogue.date = DateOf(loaded.elements, none.generated);
  const auto notices = report::Notices(none, {.maxAge = options.maxAge});
  std::ranges::for_each(notices, ReportNote);
  reports->AddNotices(notices);
}

// A file of lines that has none says so at its end.
void TFleetVerb::DemandMachines() const {
  if (inputs->Barren().empty()) return;
  throw TError("there are no inventories in " + inputs->Barren().front() +
                   "; name files that hold some with --inventories",
               EErrorKind::kCatalogue);
}

bool TFleetVerb::WantsProgress() const {
  if (options.progress != "auto") return options.progress == "always";
  // On one terminal the results would stand in the line's place.
  const bool isMixed = options.output == "-" && StandardOutputIsTerminal();
  return !IsQuiet() && !isMixed && StandardErrorIsTerminal();
}

void TFleetVerb::ShowProgress() {
  constexpr std::chrono::milliseconds kBetween{200};
  const auto now = std::chrono::steady_clock::now();
  if (now - shown < kBetween) return;
  shown = now;
  const std::size_t failed = reports->Summary().Failed().size();
  status->Show(Counted(reports->Summary().Machines(), "machine") + " compared" +
               (failed == 0 ? "" : ", " + std::to_string(failed) + " failed"));
}

std::deque<std::string> TFleetVerb::OpenResults() {
  std::deque<std::string> names;
  if (options.resume) {
    results.emplace(options.output, [&](const TResultReader::TMachine& machine) {
      names.push_back(machine.name);
      reports->Add(machine.name, machine.lines);
    });
  } else {
    results.emplace(options.output);
  }
  return names;
}

std::optional<TTask> TFleetVerb::Next() {
  while (auto task = inputs->Next()) {
    if (!shard.Has(machines++)) continue;
    if (done.empty()) return task;
    if (done.front() != report::ValidUtf8(task->machine)) {  // As it was written.
      throw TError("the results in " + options.output +
                   " are of other inventories: they go on "
                   "with " +
                   done.front() + ", the inventories with " + task->machine +
                   "; give those that the run began with");
    }
    done.pop_front();
  }
  if (done.empty()) return {};
  throw TError("the results in " + options.output +
               " are of more machines than there are "
               "inventories; give those that the run began with");
}

void TFleetVerb::Take(const std::string& machine, std::string_view lines,
                      fleet::TSummary::TCounted* counted) {
  results->Write(lines);
  reports->Add(machine, lines, counted);
  ShowProgress();
}

}  // namespace

std::unique_ptr<IVerb> MakeFleet(CLI::App& app) { return std::make_unique<TFleetVerb>(app); }

}  // namespace svc
