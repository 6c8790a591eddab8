#include "report/waivers.h"

#include <algorithm>
#include <cstddef>

#include "base/shown_text.h"
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

namespace {

std::size_t SizeOfFirst(std::string_view text) noexcept { return FirstCodePoint(text).size; }

}  // namespace

bool MatchesGlob(std::string_view pattern, std::string_view text) noexcept {
  // Behind the last "*": what has to go by the text from `resumed` on. Only the last one is ever
  // tried again, since an earlier one could not match more than it.
  std::string_view behindStar;
  std::string_view resumed;
  bool hasStar = false;
  while (!text.empty()) {
    if (!pattern.empty() && pattern.front() == '*') {
      pattern.remove_prefix(1);
      behindStar = pattern;
      resumed = text;
      hasStar = true;
    } else if (!pattern.empty() && pattern.front() == '?') {
      pattern.remove_prefix(1);
      text.remove_prefix(SizeOfFirst(text));
    } else if (!pattern.empty() && ToLower(pattern.front()) == ToLower(text.front())) {
      pattern.remove_prefix(1);
      text.remove_prefix(1);
    } else if (hasStar) {
      resumed.remove_prefix(SizeOfFirst(resumed));
      pattern = behindStar;
      text = resumed;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*') == std::string_view::npos;
}

}  // namespace svc::report
