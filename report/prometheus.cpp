// Metrics in the text format 0.0.4 of Prometheus, for the node exporter's textfile folder. Every
// count is there, also when it is zero: a metric that vanishes raises no alarm. A check that failed
// has counted nothing, and writes no zeros of its own: those of the file that it replaces stay.
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
