// One line for a monitoring server, after the guidelines of the Monitoring Plugins project.
#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <string>

#include "report/model.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

namespace {

constexpr int kOk = 0;
constexpr int kWarning = 1;
constexpr int kCritical = 2;

std::string Status(const TReport& report, const TSummary& summary, const TRenderOptions& options) {
  const EState state = StateOf(report, summary);
  if (state == EState::kFailed) {
    std::string text(RowOf(report.outcome).sentence);
    if (!report.errors.empty()) text.append(" ").append(PlainLine(report.errors.front()));
    return text;
  }
  if (state == EState::kNothingCompared) {
    return "nothing compared: " + PlainLine(StateReason(report, summary));
  }
  std::string text = Sentence(summary);
  if (IsCatalogueTooOld(report, options)) text += "; the catalogue is too old";
  return text;
}

// What stands behind the first "|" would be read as performance data.
std::string WithoutBars(std::string text) {
  std::replace(text.begin(), text.end(), '|', '/');
  return text;
}

}  // namespace

int NagiosStatus(const TReport& report, const TRenderOptions& options) {
  switch (StateOf(report, Summarize(report))) {
    case EState::kFailed:
    case EState::kNothingCompared:
      return kNagiosUnknown;
    case EState::kUpdates:
      return FailsOn(report, options.failOn) ? kCritical : kWarning;
    case EState::kCurrent:
      break;
  }
  if (FailsOn(report, options.failOn)) return kCritical;
  return IsCatalogueTooOld(report, options) ? kWarning : kOk;
}

namespace {

// Only of what was counted.
std::string PerformanceData(const TReport& report, const TSummary& summary) {
  std::string text = " |";
  for (const EVerdict verdict : kVerdicts) {
    text += fmt::format(" {}={};;;0", NameOf(verdict), summary.Of(verdict));
  }
  if (report.hasWaivers) {
    text += fmt::format(" waived={};;;0 expired_waivers={};;;0", summary.waived,
                        summary.expiredWaivers);
  }
  return text;
}

// Shown by a server where there is room for more than a line.
std::string LongText(const TReport& report, const TRenderOptions& options) {
  std::string text;
  for (const std::string& notice : Notices(report, options)) text += WithoutBars(notice) + '\n';
  if (report.coverage) text += Sentence(*report.coverage) + '\n';
  return text;
}

}  // namespace

void RenderNagios(const TReport& report, const TRenderOptions& options, IOutput& output) {
  constexpr std::array<std::string_view, 4> kNames = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
  const int status = NagiosStatus(report, options);
  const std::string host = report.machine.host.empty() ? "" : PlainLine(report.machine.host) + ": ";
  const TSummary summary = Summarize(report);
  std::string line = fmt::format("SVCHECK {} - {}", kNames[static_cast<std::size_t>(status)],
                                 WithoutBars(host + Status(report, summary, options)));
  if (status != kNagiosUnknown) line += PerformanceData(report, summary);
  output.Write(line + '\n' + LongText(report, options));
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

// Where nothing was compared, no test case would be good news.
std::string SkippedCase(const TReport& report, const TSummary& summary) {
  return fmt::format(
      "    <testcase classname=\"svcheck\" name=\"check\"><skipped message=\"nothing compared: "
      "{}\"/></testcase>\n",
      Text(StateReason(report, summary)));
}

void WriteProperties(const TReport& report, const TSummary& summary, const TRenderOptions& options,
                     IOutput& output) {
  const auto write = [&](std::string_view name, std::string_view value) {
    output.Write(fmt::format("      <property name=\"{}\" value=\"{}\"/>\n", name, Text(value)));
  };
  output.Write("    <properties>\n");
  write("state", NameOf(StateOf(report, summary)));
  if (report.osKnown) write("osKnown", *report.osKnown ? "true" : "false");
  if (report.coverage) {
    write("installed", std::to_string(report.coverage->installed));
    write("notCompared", std::to_string(report.coverage->notCompared.size()));
    const auto counts = CountsOf(*report.coverage);
    for (const TPassedOverRow& row : kPassedOver) {
      const std::size_t count = counts[static_cast<std::size_t>(row.why)];
      if (count > 0) write(fmt::format("notCompared.{}", row.name), std::to_string(count));
    }
  }
  for (const std::string& notice : Notices(report, options)) write("notice", notice);
  output.Write("    </properties>\n");
}

}  // namespace

void RenderJunit(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const TSummary summary = Summarize(report);
  const EState state = StateOf(report, summary);
  const std::size_t errors = state == EState::kFailed ? 1 : 0;
  const std::size_t skips = state == EState::kNothingCompared ? 1 : 0;
  // Readers hold them against the test cases that are there.
  TSummary shown;
  for (const TRecord& record : ShownIn(report)) shown.Add(record);
  const std::string counts = fmt::format(
      R"(tests="{}" failures="{}" errors="{}" skipped="{}")", shown.Total() + errors + skips,
      shown.Of(EVerdict::kOutdated), errors, shown.Of(EVerdict::kUnknown) + shown.waived + skips);
  const TMachine& machine = report.machine;
  std::string timestamp = UtcTime(report.generated);
  timestamp.pop_back();  // The schema of this format takes no time zone.
  output.Write(
      fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {0}>\n"
                  "  <testsuite name=\"svcheck\" hostname=\"{1}\" timestamp=\"{2}\" "
                  "{0}>\n",
                  counts, Text(machine.host.empty() ? machine.type : machine.host), timestamp));
  WriteProperties(report, summary, options, output);
  for (const TRecord& record : ShownIn(report)) output.Write(TestCase(record));
  if (state == EState::kFailed) output.Write(ErrorCase(report));
  if (state == EState::kNothingCompared) output.Write(SkippedCase(report, summary));
  output.Write("  </testsuite>\n</testsuites>\n");
}

}  // namespace svc::report
