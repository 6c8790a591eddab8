// The verbs of saved reports: `svcheck report` shows one again, in any format, `svcheck diff` tells
// what changed from one to another.
#include <algorithm>

#include "report/selection.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/report_files.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"

namespace svc {
namespace {

class TReportVerb : public IVerb {
 public:
  explicit TReportVerb(CLI::App& app) {
    AddWord(app, "FILE", file, "A report of `svcheck check --format json`; \"-\" is standard input")
        .Required();
    AddReportOptions(app, options);
    AddWaiversOption(app, options);
    AddQuiet(app);
  }

  // Ends as the check did.
  int Run() override {
    const auto waivers = LoadWaivers(options.waiversFile);
    TReportOutput output(options);
    report::TReport report = LoadReport(file);
    UseWaivers(options.waiversFile, waivers, report);
    const int status = ExitStatusOf(report.outcome);
    if (status != kExitDone && !output.IsOnScreen()) {
      ReportError("the report " + file + " tells of a check that failed: " + FailureLine(report));
    }
    return output.Show(report, status);
  }

 private:
  std::string file;
  TReportOptions options;
};

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const report::TDiffFormat& format : report::kDiffFormats) names.emplace_back(format.name);
  return names;
}

// What did not take place has nothing to compare: everything would look removed, or new.
report::TReport LoadComparedReport(const std::string& file) {
  report::TReport report = LoadReport(file);
  if (report::WasCompared(report.outcome)) return report;
  const report::TOutcomeRow& outcome = report::RowOf(report.outcome);
  throw TError("the report " + file + " tells of a check that did not take place (" +
                   std::string(outcome.sentence) + "); give reports of two checks that did",
               FailureOf(report.outcome).value());
}

class TDiffVerb : public IVerb {
 public:
  explicit TDiffVerb(CLI::App& app) {
    AddWord(app, "OLD", oldFile, "The earlier report of `svcheck check --format json`").Required();
    AddWord(app, "NEW", newFile, "The later one").Required();
    // It has fewer formats than the reports that a setting is for.
    AddOutputOptions(app, options, FormatNames(),
                     "End with status 2 when a record became outdated, or different: not current")
        .CommandLineOnly();
  }

  int Run() override {
    const report::TRenderOptions rendering = RenderingOf(options);
    const auto output = OpenOutput(options.outputFile);
    const report::TReport before = LoadComparedReport(oldFile);
    const report::TReport after = LoadComparedReport(newFile);
    report::TDiff diff = report::CompareReports(before, after);
    diff.beforeName = oldFile;
    diff.afterName = newFile;
    const auto* const format =
        std::find_if(report::kDiffFormats.begin(), report::kDiffFormats.end(),
                     [&](const report::TDiffFormat& row) { return row.name == options.format; });
    format->render(diff, rendering, *output);
    output->Commit();
    return report::FailsOn(diff, rendering.failOn) ? kExitCondition : kExitDone;
  }

 private:
  std::string oldFile;
  std::string newFile;
  TReportOptions options;
};

}  // namespace

std::unique_ptr<IVerb> MakeReport(CLI::App& app) { return std::make_unique<TReportVerb>(app); }

std::unique_ptr<IVerb> MakeDiff(CLI::App& app) { return std::make_unique<TDiffVerb>(app); }

}  // namespace svc
