// The options and the way out that every verb that shows a report has.
#ifndef SVCHECK_REPORT_OUTPUT_H_
#define SVCHECK_REPORT_OUTPUT_H_

#include <memory>
#include <string>

#include "report/render.h"
#include "svcheck/output.h"

namespace CLI {
class App;
}

namespace svc {

struct TReportOptions {
  std::string format = "table";
  std::string outputFile = "-";
  std::string failOn = "none";
  std::string color = "auto";
  int width = 0;
};

// Adds them; the options object outlives the parsing.
void AddReportOptions(CLI::App& app, TReportOptions& options);

// Where one report goes. Made before the report is, so that an output that cannot be written is
// found first.
class TReportOutput {
 public:
  // Throws TFailure. The options outlive the object.
  explicit TReportOutput(const TReportOptions& options);

  // Renders the report and makes it visible. Returns the exit status: `status` of the check, or
  // what --fail-on or the format makes of it.
  int Show(report::TReport& report, int status);

 private:
  const TReportOptions& options;
  report::EFailOn failOn;
  const report::TFormat* format;
  std::unique_ptr<TOutput> output;
};

}  // namespace svc

#endif  // SVCHECK_REPORT_OUTPUT_H_
