// One line for a monitoring server, after the guidelines of the Monitoring Plugins project.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>

#include "report/records.h"
#include "report/render.h"
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
  std::string line = fmt::format("SVCHECK {} - {}", kNames[status], WithoutBars(Status(report)));
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

}  // namespace svc::report
