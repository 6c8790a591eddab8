// Metrics in the text format 0.0.4 of Prometheus, for the node exporter's textfile folder. Every
// count is there, also when it is zero: a metric that vanishes raises no alarm.
#include <fmt/format.h>

#include <set>
#include <string>

#include "base/utf8.h"
#include "report/records.h"
#include "report/render.h"
#include "report/text.h"

namespace svc::report {

namespace {

// The format has escapes for three characters. A carriage return, for which it has none, would let
// what follows it overwrite a line of a terminal.
std::string LabelValue(std::string_view text) {
  std::string value;
  for (const char c : PlainText(text)) {
    if (c == '\n') {
      value += "\\n";
    } else if (c == '\r') {
      value += kReplacementText;
    } else {
      if (c == '\\' || c == '"') value += '\\';
      value += c;
    }
  }
  return value;
}

void WriteHead(IOutput& output, std::string_view name, std::string_view help) {
  output.Write(fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", name, help));
}

template <typename TNumber>
void WriteGauge(IOutput& output, std::string_view name, std::string_view help, TNumber value) {
  WriteHead(output, name, help);
  output.Write(fmt::format("{} {}\n", name, value));
}

void WriteCounts(const TReport& report, IOutput& output) {
  const TSummary summary = Summarize(report);
  WriteHead(output, "svcheck_records", "Compared firmware and drivers by verdict.");
  for (const EVerdict verdict : kVerdicts) {
    output.Write(fmt::format("svcheck_records{{verdict=\"{}\"}} {}\n", NameOf(verdict),
                             summary.Of(verdict)));
  }
  WriteGauge(output, "svcheck_records_waived", "Records that a waiver accepts.", summary.waived);
  WriteGauge(output, "svcheck_records_waiver_expired", "Records whose waiver has expired.",
             summary.expiredWaivers);
}

void WriteOutdated(const TReport& report, IOutput& output) {
  WriteHead(output, "svcheck_outdated", "What is older than the catalogue offers.");
  std::set<std::string> written;  // The same labels twice would make the file invalid.
  for (const TRecord& record : RecordsOf(report)) {
    if (record.verdict != EVerdict::kOutdated || record.waived) continue;
    const std::string line = fmt::format(
        "svcheck_outdated{{type=\"{}\",name=\"{}\",installed=\"{}\",offered=\"{}\"}} 1\n",
        LabelValue(record.type), LabelValue(record.name), LabelValue(record.installed),
        LabelValue(record.offered));
    if (written.insert(line).second) output.Write(line);
  }
}

}  // namespace

void RenderPrometheus(const TReport& report, const TRenderOptions& /*options*/, IOutput& output) {
  const bool compared = WasCompared(report.outcome);
  WriteHead(output, "svcheck_info", "What checked which machine.");
  output.Write(fmt::format("svcheck_info{{version=\"{}\",machine=\"{}\",outcome=\"{}\"}} 1\n",
                           LabelValue(report.toolVersion), LabelValue(report.machine.type),
                           RowOf(report.outcome).name));
  WriteCounts(report, output);
  WriteOutdated(report, output);
  WriteGauge(output, "svcheck_success", "Whether the last check compared the machine.",
             compared ? 1 : 0);
  WriteGauge(output, "svcheck_last_run_timestamp_seconds", "When the last check ran.",
             report.generated);
  WriteGauge(output, "svcheck_last_success_timestamp_seconds",
             "When a check last compared the machine; 0 for never.",
             compared ? report.generated : report.lastSuccess.value_or(0));
  WriteGauge(output, "svcheck_catalogue_elements", "Update elements of the catalogue.",
             report.catalogue.elements.value_or(0));
  if (!report.catalogue.modified) return;
  WriteGauge(output, "svcheck_catalogue_age_seconds", "Age of the catalogue at the last check.",
             report.generated - *report.catalogue.modified);
}

}  // namespace svc::report
