// Waivers files, and patterns of names.
#include "base/error.h"
#include "report/text.h"
#include "report/waivers.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::report;
using svc::fuzz::Require;

namespace {

void RequireWhole(const TWaiver& waiver) {
  Require(!waiver.name.empty() && !waiver.acceptance.reason.empty(), "name and reason are there");
  Require(waiver.line > 0, "a waiver has a line");
  for (const std::string* text : {&waiver.type, &waiver.name, &waiver.offered,
                                  &waiver.acceptance.reason, &waiver.acceptance.expires}) {
    Require(ValidUtf8(*text) == *text, "what is read is UTF-8");
  }
  const std::string& day = waiver.acceptance.expires;
  Require(day.empty() || SecondsOfUtcTime(day + "T00:00:00Z").has_value(),
          "a day is one of the calendar");
  Require(HasExpired(waiver, 0) == (!day.empty() && day < "1970-01-01"), "days order as texts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = svc::fuzz::AsText(data, size);
  MatchesGlob(text.substr(0, size / 2), text.substr(size / 2));
  try {
    TReport report;
    report.records = {{"Firmware", "System BIOS", "1", "2", EVerdict::kOutdated, {}}};
    const auto waivers = ParseWaivers(text);
    for (const TWaiver& waiver : waivers) RequireWhole(waiver);
    ApplyWaivers(waivers, report);
    Require(!report.records[0].waived || !waivers.empty(), "only a waiver waives");
  } catch (const svc::TError& error) {
    Require(error.Number() > 0 && error.what()[0] != '\0', "a refusal says where and why");
  }
  return 0;
}
