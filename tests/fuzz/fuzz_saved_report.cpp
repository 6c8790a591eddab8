// Saved reports, as they are read to be shown again or compared with another.
#include "base/error.h"
#include "report/model.h"
#include "report/records.h"
#include "report/selection.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::report;
using svc::fuzz::Require;

namespace {

class TText : public IOutput {
 public:
  void Write(std::string_view part) override { text += part; }
  std::string text;
};

std::string InFormat(const TFormat& format, const TReport& report) {
  TText text;
  format.render(report, {}, text);
  return text.text;
}

// What is shown from a report, and that reading its own text again changes nothing.
void Use(const TReport& report) {
  for (const TFormat& format : kFormats) InFormat(format, report);
  const TFormat& json = *FormatOfName("json");
  const std::string text = InFormat(json, report);
  const TReport again = ReadSavedReport(text);
  Require(InFormat(json, again) == text, "a report is the same when it is saved again");
  const TDiff diff = CompareReports(report, again);
  Require(diff.changes.empty() && diff.same == report.records.size(), "nothing has changed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TReport report;
  try {
    report = ReadSavedReport(svc::fuzz::AsText(data, size));
  } catch (const svc::TError& error) {
    Require(error.what()[0] != '\0', "a refusal says why");
    return 0;
  }
  Use(report);
  return 0;
}
