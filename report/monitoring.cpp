// One line for a monitoring server, after the guidelines of the Monitoring Plugins project.
#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>
#include <charconv>
#include <set>
#include <string>
#include <system_error>

#include "base/shown_text.h"
#include "report/model.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

constexpr int kOk = 0;
constexpr int kWarning = 1;
constexpr int kCritical = 2;

static std::string Status(const TReport& report, const TSummary& summary,
                          const TRenderOptions& options) {
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
static std::string WithoutBars(std::string text) {
  std::replace(text.begin(), text.end(), '|', '/');
  return text;
}

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

// Only of what was counted.
static std::string PerformanceData(const TReport& report, const TSummary& summary) {
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
static std::string LongText(const TReport& report, const TRenderOptions& options) {
  std::string text;
  for (const std::string& notice : Notices(report, options)) text += WithoutBars(notice) + '\n';
  if (report.coverage) text += Sentence(*report.coverage) + '\n';
  return text;
}

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

// Build servers show it: what XML would take but a terminal would obey is U+FFFD.
static std::string Text(std::string_view text) { return XmlText(PlainText(text)); }

static std::string TestCase(const TRecord& record) {
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

static std::string ErrorCase(const TReport& report) {
  std::string details;
  for (const std::string& error : report.errors) details += Text(error) + '\n';
  return fmt::format(
      "    <testcase classname=\"svcheck\" name=\"check\"><error type=\"{}\" "
      "message=\"{}\">{}</error></testcase>\n",
      RowOf(report.outcome).name, Text(RowOf(report.outcome).sentence), details);
}

// Where nothing was compared, no test case would be good news.
static std::string SkippedCase(const TReport& report, const TSummary& summary) {
  return fmt::format(
      "    <testcase classname=\"svcheck\" name=\"check\"><skipped message=\"nothing compared: "
      "{}\"/></testcase>\n",
      Text(StateReason(report, summary)));
}

static void WriteProperties(const TReport& report, const TSummary& summary,
                            const TRenderOptions& options, IOutput& output) {
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

// Metrics in the text format 0.0.4 of Prometheus, for the node exporter's textfile folder. Every
// count is there, also when it is zero: a metric that vanishes raises no alarm. A check that failed
// has counted nothing, and writes no zeros of its own: those of the file that it replaces stay.

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

struct TMetric {
  std::string_view name;
  std::string_view help;
};

// What a check counts, and a failed one keeps.
enum ECounted : std::size_t { kRecords, kCompared, kWaived, kExpired, kOutdated, kElements };
constexpr std::array kCounted = {
    TMetric{"svcheck_records", "Compared firmware and drivers by verdict."},
    TMetric{"svcheck_compared_records", "Records that could be ordered."},
    TMetric{"svcheck_records_waived", "Records that a waiver accepts."},
    TMetric{"svcheck_records_waiver_expired", "Records whose waiver has expired."},
    TMetric{"svcheck_outdated", "What is older than the catalogue offers."},
    TMetric{"svcheck_catalogue_elements", "Update elements of the catalogue."}};
static_assert(kCounted.size() == kElements + 1);

constexpr std::string_view kLastSuccess = "svcheck_last_success_timestamp_seconds";

std::string Head(const TMetric& metric) {
  return fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", metric.name, metric.help);
}

template <typename TNumber>
void WriteGauge(IOutput& output, const TMetric& metric, TNumber value) {
  output.Write(Head(metric) + fmt::format("{} {}\n", metric.name, value));
}

void WriteOutdated(const TReport& report, IOutput& output) {
  output.Write(Head(kCounted[kOutdated]));
  // The same labels twice would make the file invalid. Lines may be long and many.
  const boost::uuids::name_generator_sha1 hash(boost::uuids::ns::oid());
  std::set<boost::uuids::uuid> written;
  for (const TRecord& record : RecordsOf(report)) {
    if (record.verdict != EVerdict::kOutdated || record.waived) continue;
    const std::string line = fmt::format(
        "svcheck_outdated{{type=\"{}\",name=\"{}\",installed=\"{}\",offered=\"{}\"}} 1\n",
        LabelValue(record.type), LabelValue(record.name), LabelValue(record.installed),
        LabelValue(record.offered));
    if (written.insert(hash(line)).second) output.Write(line);
  }
}

void WriteCounts(const TReport& report, const TSummary& summary, IOutput& output) {
  output.Write(Head(kCounted[kRecords]));
  for (const EVerdict verdict : kVerdicts) {
    output.Write(fmt::format("svcheck_records{{verdict=\"{}\"}} {}\n", NameOf(verdict),
                             summary.Of(verdict)));
  }
  WriteGauge(output, kCounted[kCompared], summary.compared);
  WriteGauge(output, kCounted[kWaived], summary.waived);
  WriteGauge(output, kCounted[kExpired], summary.expiredWaivers);
  WriteOutdated(report, output);
  if (report.catalogue.elements)
    WriteGauge(output, kCounted[kElements], *report.catalogue.elements);
}

void WriteTimes(const TReport& report, bool succeeded, IOutput& output) {
  WriteGauge(output, {"svcheck_success", "Whether the last check compared anything."},
             succeeded ? 1 : 0);
  WriteGauge(output, {"svcheck_last_run_timestamp_seconds", "When the last check ran."},
             report.generated);
  const auto last = succeeded ? report.generated : report.kept.lastSuccess;
  if (last) WriteGauge(output, {kLastSuccess, "When a check last compared anything."}, *last);
}

void WriteCatalogueAge(const TReport& report, const TRenderOptions& options, IOutput& output) {
  if (const auto date = report.catalogue.Date()) {
    WriteGauge(output, {"svcheck_catalogue_age_seconds", "Age of the catalogue at the last check."},
               report.generated - *date);
  }
  if (!options.maxAge) return;
  WriteGauge(output, {"svcheck_catalogue_too_old", "Whether it is older than the check allows."},
             IsCatalogueTooOld(report, options) ? 1 : 0);
}

}  // namespace

void RenderPrometheus(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const TSummary summary = Summarize(report);
  const EState state = StateOf(report, summary);
  output.Write(Head({"svcheck_info", "What checked which machine."}));
  output.Write(
      fmt::format("svcheck_info{{version=\"{}\",machine=\"{}\",outcome=\"{}\",host=\"{}\"}} 1\n",
                  LabelValue(report.toolVersion), LabelValue(report.machine.type),
                  RowOf(report.outcome).name, LabelValue(report.machine.host)));
  if (state == EState::kFailed) {
    output.Write(report.kept.counts);
  } else {
    WriteCounts(report, summary, output);
  }
  if (report.osKnown) {
    WriteGauge(output, {"svcheck_os_known", "Whether catalogues have a code for the system."},
               *report.osKnown ? 1 : 0);
  }
  WriteTimes(report, state == EState::kUpdates || state == EState::kCurrent, output);
  WriteCatalogueAge(report, options, output);
}

// --- What is kept of a file that is to be replaced ---

namespace {

// A line of values: the name with its labels, and the number.
struct TSample {
  std::string_view series;
  std::string_view name;
  std::int64_t value = 0;
};

// A line that this program could have written; nothing for a comment or any other line.
std::optional<TSample> SampleOf(std::string_view line) {
  const std::size_t blank = line.rfind(' ');
  if (blank == std::string_view::npos || PlainText(line) != line) return {};
  TSample sample{line.substr(0, blank), line.substr(0, line.find_first_of("{ ")), 0};
  if (sample.series.size() != sample.name.size() && !sample.series.ends_with('}')) return {};
  const char* const end = line.data() + line.size();
  const auto [last, error] = std::from_chars(line.data() + blank + 1, end, sample.value);
  if (error != std::errc() || last != end) return {};
  return sample;
}

template <typename TTake>
void ForEachSample(std::string_view file, const TTake& take) {
  while (!file.empty()) {
    const std::size_t end = std::min(file.find('\n'), file.size());
    if (const auto sample = SampleOf(file.substr(0, end))) take(*sample);
    file.remove_prefix(std::min(end + 1, file.size()));
  }
}

// The lines of one metric, each series once.
std::string LinesOf(const TMetric& metric, std::string_view file) {
  std::string lines;
  std::set<std::string_view> series;
  ForEachSample(file, [&](const TSample& sample) {
    if (sample.name != metric.name || !series.insert(sample.series).second) return;
    lines += fmt::format("{} {}\n", sample.series, sample.value);
  });
  return lines.empty() ? lines : Head(metric) + lines;
}

}  // namespace

TKeptMetrics MetricsToKeep(std::string_view file) {
  TKeptMetrics kept;
  std::set<std::string_view> names;
  bool succeeded = false;
  ForEachSample(file, [&](const TSample& sample) {
    names.insert(sample.name);
    if (sample.name == "svcheck_success") succeeded = sample.value == 1;
    // Earlier versions wrote 0 for never.
    if (sample.name == kLastSuccess && sample.value != 0) kept.lastSuccess = sample.value;
  });
  if (!names.contains("svcheck_info")) return {};
  // They wrote zeros where nothing was counted, and no number of compared records.
  if (!succeeded && !names.contains(kCounted[kCompared].name)) return kept;
  for (const TMetric& metric : kCounted) kept.counts += LinesOf(metric, file);
  return kept;
}

}  // namespace svc::report
