// The records as the test cases that build servers show: outdated is a failure, unknown a skipped
// case, a check that did not take place an error.
#include <fmt/format.h>

#include <string>

#include "report/records.h"
#include "report/render.h"
#include "report/text.h"

namespace svc::report {

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
  std::string timestamp = UtcTime(report.generated);
  timestamp.pop_back();  // The schema of this format takes no time zone.
  output.Write(
      fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {0}>\n"
                  "  <testsuite name=\"svcheck\" hostname=\"{1}\" timestamp=\"{2}\" "
                  "{0}>\n",
                  counts, Text(report.machine.type), timestamp));
  for (const TRecord& record : RecordsOf(report)) output.Write(TestCase(record));
  if (!compared) output.Write(ErrorCase(report));
  output.Write("  </testsuite>\n</testsuites>\n");
}

}  // namespace svc::report
