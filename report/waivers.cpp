#include "report/waivers.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include "base/shown_text.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

namespace {

std::string Lowered(std::string_view text) {
  std::string lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), ToLower);
  return lowered;
}

bool IsExpiredOn(const TWaiver& waiver, std::string_view day) {
  // Days of this form order as texts.
  return !waiver.acceptance.expires.empty() && waiver.acceptance.expires < day;
}

std::string DayOf(std::int64_t now) { return UtcTime(now).substr(0, 10); }

// What a waiver without wildcards is for, or what one of them would have to be for; each part
// behind its size. No version stands for every one.
std::string KeyOf(std::string_view type, std::string_view name,
                  std::optional<std::string_view> offered) {
  std::string key;
  for (const std::string_view part : {type, name}) {
    key += std::to_string(part.size()) + ':' + Lowered(part);
  }
  return offered ? key + ':' + Lowered(*offered) : key;
}

// Which waivers count for a record, among many: those without wildcards are found by what they say,
// however many there are; those with some are tried one by one.
class TAppliedWaivers {
 public:
  TAppliedWaivers(std::vector<TWaiver> given, std::int64_t now)
      : waivers(std::move(given)), day(DayOf(now)) {
    for (std::size_t number = 0; number < waivers.size(); ++number) {
      const TWaiver& waiver = waivers[number];
      if (HasWildcards(waiver)) {
        withWildcards.push_back(number);
      } else {
        Note(number, exact[KeyOf(waiver.type, waiver.name, OfferedOf(waiver))]);
      }
    }
  }

  void Mark(TRecord& record) const {
    const std::string type = Lowered(Trim(record.type));
    const std::string_view name = Trim(record.name);
    const std::string_view offered = Trim(record.offered);
    TFound found;
    for (const std::string_view ofType : {std::string_view(), std::string_view(type)}) {
      Add(KeyOf(ofType, name, {}), found);
      if (!offered.empty()) Add(KeyOf(ofType, name, offered), found);
    }
    for (const std::size_t number : withWildcards) {
      if (IsFor(waivers[number], type, name, offered)) Note(number, found);
    }
    if (found.live) {
      record.waived = waivers[*found.live].acceptance;
    } else if (found.expired) {
      record.expiredWaiver = waivers[*found.expired].acceptance;
    }
  }

 private:
  struct TFound {
    std::optional<std::size_t> live;     // The first one.
    std::optional<std::size_t> expired;  // The last one.
  };

  static std::optional<std::string_view> OfferedOf(const TWaiver& waiver) {
    if (waiver.offered.empty()) return {};
    return waiver.offered;
  }

  // `type` is in lower case.
  static bool IsFor(const TWaiver& waiver, std::string_view type, std::string_view name,
                    std::string_view offered) {
    return (waiver.type.empty() || Lowered(waiver.type) == type) &&
           MatchesGlob(waiver.name, name) &&
           (waiver.offered.empty() || MatchesGlob(waiver.offered, offered));
  }

  void Note(std::size_t number, TFound& found) const {
    if (IsExpiredOn(waivers[number], day)) {
      found.expired = std::max(found.expired.value_or(number), number);
    } else {
      found.live = std::min(found.live.value_or(number), number);
    }
  }

  void Add(const std::string& key, TFound& found) const {
    const auto known = exact.find(key);
    if (known == exact.end()) return;
    if (known->second.live) Note(*known->second.live, found);
    if (known->second.expired) Note(*known->second.expired, found);
  }

  std::vector<TWaiver> waivers;
  std::string day;
  std::unordered_map<std::string, TFound> exact;
  std::vector<std::size_t> withWildcards;
};

std::size_t SizeOfFirst(std::string_view text) noexcept { return FirstCodePoint(text).size; }

}  // namespace

bool HasWildcards(const TWaiver& waiver) {
  constexpr std::string_view kWildcards = "*?";
  return waiver.name.find_first_of(kWildcards) != std::string::npos ||
         waiver.offered.find_first_of(kWildcards) != std::string::npos;
}

bool HasExpired(const TWaiver& waiver, std::int64_t now) { return IsExpiredOn(waiver, DayOf(now)); }

void ApplyWaivers(const std::vector<TWaiver>& waivers, TReport& report) {
  report.hasWaivers = true;
  const auto applied = std::make_shared<const TAppliedWaivers>(waivers, report.generated);
  ChangeEach(report, [applied](TRecord& record) {
    record.waived.reset();
    record.expiredWaiver.reset();
    if (record.verdict != EVerdict::kCurrent) applied->Mark(record);
  });
}

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
