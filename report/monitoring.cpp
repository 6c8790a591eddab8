// One line for a monitoring server, after the guidelines of the Monitoring Plugins project.
#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <set>
#include <string>

#include "base/shown_text.h"
#include "report/model.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

namespace {

constexpr int kOk = 0;
constexpr int kWarning = 1;
constexpr int kCritical = 2;

std::string Status(const TReport& report) {
  if (!WasCompared(report.outcome)) {
    std::string text(RowOf(report.outcome).sentence);
    if (!report.errors.empty()) text.append(" ").append(PlainLine(report.errors.front()));
    return text;
  }
  if (RecordsOf(report).empty()) return std::string(ReasonForNothing(report));
  return Sentence(Summarize(report));
}

// What stands behind the first "|" would be read as performance data.
std::string WithoutBars(std::string text) {
  std::replace(text.begin(), text.end(), '|', '/');
  return text;
}

}  // namespace

int NagiosStatus(const TReport& report, EFailOn critical) {
  if (!WasCompared(report.outcome)) return kNagiosUnknown;
  if (FailsOn(report, critical)) return kCritical;
  return FailsOn(report, EFailOn::kOutdated) ? kWarning : kOk;
}

void RenderNagios(const TReport& report, const TRenderOptions& options, IOutput& output) {
  constexpr std::array<std::string_view, 4> kNames = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
  const auto status = static_cast<std::size_t>(NagiosStatus(report, options.failOn));
  const std::string host = report.machine.host.empty() ? "" : PlainLine(report.machine.host) + ": ";
  std::string line =
      fmt::format("SVCHECK {} - {}", kNames[status], WithoutBars(host + Status(report)));
  const TSummary summary = Summarize(report);
  line += " |";
  for (const EVerdict verdict : kVerdicts) {
    line += fmt::format(" {}={};;;0", NameOf(verdict), summary.Of(verdict));
  }
  if (report.hasWaivers) {
    line += fmt::format(" waived={};;;0 expired_waivers={};;;0", summary.waived,
                        summary.expiredWaivers);
  }
  output.Write(line + '\n');
}

// The records as the test cases that build servers show: outdated is a failure, unknown a skipped
// case, a check that did not take place an error.

namespace {

// Build servers show it: what XML would take but a terminal would obey is U+FFFD.
std::string Text(std::string_view text) { return XmlText(PlainText(text)); }

std::string TestCase(const TRecord& record) {
  const std::string start = fmt::format(R"(    <testcase classname="{}" name="{}")",
                                        Text(record.type), Text(record.name));
  std::string pair =
      fmt::format("installed {}, offered {}", Text(record.installed), Text(record.offered));
  if (record.expiredWaiver) {
    pair += fmt::format("; waiver expired {}: {}", Text(record.expiredWaiver->expires),
                        Text(record.expiredWaiver->reason));
  }
  if (record.waived) {
    return fmt::format("{}><skipped message=\"waived: {}; {}\"/></testcase>\n", start,
                       Text(record.waived->reason), pair);
  }
  if (record.verdict == EVerdict::kOutdated) {
    return fmt::format("{}><failure type=\"outdated\" message=\"{}\"/></testcase>\n", start, pair);
  }
  if (record.verdict == EVerdict::kUnknown) {
    return fmt::format("{}><skipped message=\"unknown: {}\"/></testcase>\n", start, pair);
  }
  return start + "/>\n";
}

std::string ErrorCase(const TReport& report) {
  std::string details;
  for (const std::string& error : report.errors) details += Text(error) + '\n';
  return fmt::format(
      "    <testcase classname=\"svcheck\" name=\"check\"><error type=\"{}\" "
      "message=\"{}\">{}</error></testcase>\n",
      RowOf(report.outcome).name, Text(RowOf(report.outcome).sentence), details);
}

}  // namespace

void RenderJunit(const TReport& report, const TRenderOptions& /*options*/, IOutput& output) {
  const TSummary summary = Summarize(report);
  const bool compared = WasCompared(report.outcome);
  const std::string counts =
      fmt::format(R"(tests="{}" failures="{}" errors="{}" skipped="{}")",
                  RecordsOf(report).size() + (compared ? 0 : 1), summary.Of(EVerdict::kOutdated),
                  compared ? 0 : 1, summary.Of(EVerdict::kUnknown) + summary.waived);
  const TMachine& machine = report.machine;
  std::string timestamp = UtcTime(report.generated);
  timestamp.pop_back();  // The schema of this format takes no time zone.
  output.Write(
      fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {0}>\n"
                  "  <testsuite name=\"svcheck\" hostname=\"{1}\" timestamp=\"{2}\" "
                  "{0}>\n",
                  counts, Text(machine.host.empty() ? machine.type : machine.host), timestamp));
  for (const TRecord& record : RecordsOf(report)) output.Write(TestCase(record));
  if (!compared) output.Write(ErrorCase(report));
  output.Write("  </testsuite>\n</testsuites>\n");
}

// Metrics in the text format 0.0.4 of Prometheus, for the node exporter's textfile folder. Every
// count is there, also when it is zero: a metric that vanishes raises no alarm.

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
  output.Write(
      fmt::format("svcheck_info{{version=\"{}\",machine=\"{}\",outcome=\"{}\",host=\"{}\"}} 1\n",
                  LabelValue(report.toolVersion), LabelValue(report.machine.type),
                  RowOf(report.outcome).name, LabelValue(report.machine.host)));
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
