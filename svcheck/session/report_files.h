// The options and the way out that every verb that shows a report has.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "report/model.h"
#include "report/selection.h"
#include "report/waivers.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/system/paths.h"

namespace svc {

struct TReportOptions {
  std::string format = "table";
  std::string outputFile = "-";
  std::string failOn = "none";
  std::string color = "auto";
  std::string width = "0";
  std::string only{report::kAllVerdicts};
  std::string sort{report::kQueryOrder};
  std::string waiversFile;  // Empty for none.
  bool csvRaw = false;
  bool csvNotCompared = false;
  bool unfold = false;
  std::optional<std::uint64_t> maxAge;  // Of the catalogue, in days.
};

// Adds them; the options object outlives the parsing.
void AddReportOptions(CLI::App& app, TReportOptions& options);
void AddWaiversOption(CLI::App& app, TReportOptions& options);
// The same, but for --csv-raw, for a verb with formats of its own; returns the option of the
// format.
TOption AddOutputOptions(CLI::App& app, TReportOptions& options,
                         const std::vector<std::string>& formats, const char* failOnDescription);

// For each verb that writes CSV.
TOption AddCsvRawOption(CLI::App& app, bool& raw);

// How the options want a report shown. Throws TError (kUsage) for a width that is none.
report::TRenderOptions RenderingOf(const TReportOptions& options);

// Where one report goes. Made before the report is, so that an output that cannot be written is
// found first.
class TReportOutput {
 public:
  // Throws TError. The options outlive the object.
  explicit TReportOutput(const TReportOptions& options);

  // Renders the report and makes it visible. Returns the exit status: `status` of the check, or
  // what --fail-on or the format makes of it.
  int Show(report::TReport& report, int status);
  // Whether the report, with its errors, goes to the terminal that standard error goes to.
  bool IsOnScreen() const;

 private:
  int ConditionOf(const report::TReport& report, int status) const;

  const TReportOptions& options;
  report::TRenderOptions rendering;
  const report::TFormat* format;
  std::unique_ptr<TOutput> output;
};

// Files that a person names for the program to read whole.

// Reads a report as `svcheck check --format json` wrote it; "-" is standard input. Throws TError.
report::TReport LoadReport(const std::string& file);

// No waivers for an empty name. Throws TError.
std::vector<report::TWaiver> LoadWaivers(const std::string& file);

// Marks the records that waivers are for, and tells on standard error of each that has expired at
// the time of the report. Does nothing for an empty name, so that a report keeps its marks.
void UseWaivers(const std::string& file, const std::vector<report::TWaiver>& waivers,
                report::TReport& report);

}  // namespace svc
