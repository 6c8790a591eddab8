// `svcheck report`: shows a saved report again, in any format.
#include "svcheck/advice.h"
#include "svcheck/failure.h"
#include "svcheck/input.h"
#include "svcheck/journal.h"
#include "svcheck/options.h"
#include "svcheck/report_output.h"
#include "svcheck/verb.h"

namespace svc {

namespace {

class TReportVerb : public IVerb {
 public:
  explicit TReportVerb(CLI::App& app) {
    AddWord(app, "FILE", file, "A report of `svcheck check --format json`; \"-\" is standard input")
        .Required();
    AddReportOptions(app, options);
    AddWaiversOption(app, options);
  }

  // Ends as the check did.
  int Run() override {
    const auto waivers = LoadWaivers(options.waiversFile);
    TReportOutput output(options);
    report::TReport report = LoadReport(file);
    UseWaivers(options.waiversFile, waivers, report);
    const int status = ExitStatusOf(report.outcome);
    if (status != kExitDone) {
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
