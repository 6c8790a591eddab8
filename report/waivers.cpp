#include "report/waivers.h"

#include <algorithm>

#include "report/ascii.h"
#include "report/glob.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

namespace {

bool IsSameWord(std::string_view left, std::string_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return ToLower(a) == ToLower(b); });
}

bool IsFor(const TWaiver& waiver, const TRecord& record) noexcept {
  return (waiver.type.empty() || IsSameWord(waiver.type, Trim(record.type))) &&
         MatchesGlob(waiver.name, Trim(record.name)) &&
         (waiver.offered.empty() || MatchesGlob(waiver.offered, Trim(record.offered)));
}

void Mark(TRecord& record, const std::vector<TWaiver>& waivers, std::int64_t now) {
  for (const TWaiver& waiver : waivers) {
    if (!IsFor(waiver, record)) continue;
    if (HasExpired(waiver, now)) {
      record.expiredWaiver = waiver.acceptance;
      continue;
    }
    record.waived = waiver.acceptance;
    record.expiredWaiver.reset();
    return;
  }
}

}  // namespace

bool HasExpired(const TWaiver& waiver, std::int64_t now) {
  // Days of this form order as texts.
  return !waiver.acceptance.expires.empty() &&
         waiver.acceptance.expires < std::string_view(UtcTime(now)).substr(0, 10);
}

void ApplyWaivers(const std::vector<TWaiver>& waivers, TReport& report) {
  report.hasWaivers = true;
  ChangeEach(report, [waivers, now = report.generated](TRecord& record) {
    record.waived.reset();
    record.expiredWaiver.reset();
    if (record.verdict != EVerdict::kCurrent) Mark(record, waivers, now);
  });
}

}  // namespace svc::report
