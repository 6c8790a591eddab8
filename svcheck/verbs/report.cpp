// `svcheck report`: shows a saved report again, in any format.
#include "svcheck/cli/options.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/report_files.h"
#include "svcheck/system/failure.h"

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

}  // namespace

std::unique_ptr<IVerb> MakeReport(CLI::App& app) { return std::make_unique<TReportVerb>(app); }

}  // namespace svc
