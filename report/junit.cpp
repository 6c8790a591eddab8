// The records as the test cases that build servers show: outdated is a failure, unknown a skipped
// case, a check that did not take place an error.
#include <fmt/format.h>

#include <string>

#include "report/render.h"
#include "report/text.h"

namespace svc::report {

namespace {

std::string TestCase(const TRecord& record) {
  const std::string start = fmt::format(R"(    <testcase classname="{}" name="{}")",
                                        XmlText(record.type), XmlText(record.name));
  std::string pair =
      fmt::format("installed {}, offered {}", XmlText(record.installed), XmlText(record.offered));
  if (record.expiredWaiver) {
    pair += fmt::format("; waiver expired {}: {}", XmlText(record.expiredWaiver->expires),
                        XmlText(record.expiredWaiver->reason));
  }
  if (record.waived) {
    return fmt::format("{}><skipped message=\"waived: {}; {}\"/></testcase>\n", start,
                       XmlText(record.waived->reason), pair);
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
  for (const std::string& error : report.errors) details += XmlText(error) + '\n';
  return fmt::format(
      "    <testcase classname=\"svcheck\" name=\"check\"><error type=\"{}\" "
      "message=\"{}\">{}</error></testcase>\n",
      RowOf(report.outcome).name, XmlText(RowOf(report.outcome).sentence), details);
}

}  // namespace

void RenderJunit(const TReport& report, const TRenderOptions& /*options*/, IOutput& output) {
  const TSummary summary = Summarize(report);
  const bool compared = WasCompared(report.outcome);
  const std::string counts =
      fmt::format(R"(tests="{}" failures="{}" errors="{}" skipped="{}")",
                  report.records.size() + (compared ? 0 : 1), summary.Of(EVerdict::kOutdated),
                  compared ? 0 : 1, summary.Of(EVerdict::kUnknown) + summary.waived);
  std::string timestamp = UtcTime(report.generated);
  timestamp.pop_back();  // The schema of this format takes no time zone.
  output.Write(
      fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {0}>\n"
                  "  <testsuite name=\"svcheck\" hostname=\"{1}\" timestamp=\"{2}\" "
                  "{0}>\n",
                  counts, XmlText(report.machine.type), timestamp));
  for (const TRecord& record : report.records) output.Write(TestCase(record));
  if (!compared) output.Write(ErrorCase(report));
  output.Write("  </testsuite>\n</testsuites>\n");
}

}  // namespace svc::report
