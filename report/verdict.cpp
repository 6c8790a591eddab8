#include "report/verdict.h"

#include <algorithm>
#include <compare>
#include <cstddef>

#include "report/text.h"

namespace svc::report {

namespace {

using TOrder = std::optional<std::weak_ordering>;

std::size_t CountWhile(std::string_view text, bool (*holds)(char)) noexcept {
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), holds) - text.begin());
}

bool HasDigit(std::string_view text) noexcept {
  return std::any_of(text.begin(), text.end(), IsDigit);
}

// Number and revision behind a series, such as "99A".
bool IsNumberAndRevision(std::string_view text, std::size_t mostDigits) noexcept {
  const std::size_t digits = CountWhile(text, IsDigit);
  if (digits < 2 || digits > mostDigits) return false;
  const std::string_view revision = text.substr(digits);
  return !revision.empty() && revision.size() <= 3 &&
         CountWhile(revision, IsLetter) == revision.size();
}

// Length of the series of a build id; 0 when the text is none.
std::size_t SeriesLength(std::string_view text) noexcept {
  constexpr std::size_t kFixedSeries = 4;
  const std::size_t letters = CountWhile(text, IsLetter);
  if (letters >= 2 && letters <= 5 && IsNumberAndRevision(text.substr(letters), 3)) return letters;
  if (text.size() < kFixedSeries) return 0;
  const std::string_view series = text.substr(0, kFixedSeries);
  const bool mixed = std::all_of(series.begin(), series.end(), IsAlphanumeric) &&
                     std::count_if(series.begin(), series.end(), IsLetter) >= 2;
  return mixed && IsNumberAndRevision(text.substr(kFixedSeries), 2) ? kFixedSeries : 0;
}

// A hash of a source or a commit: long, unseparated, hexadecimal, letters among digits.
bool IsChecksum(std::string_view text) noexcept {
  constexpr std::size_t kShortest = 12;
  return text.size() >= kShortest && std::all_of(text.begin(), text.end(), IsHexDigit) &&
         HasDigit(text) && std::any_of(text.begin(), text.end(), IsLetter);
}

std::weak_ordering CompareNumbers(std::string_view left, std::string_view right) noexcept {
  left.remove_prefix(std::min(left.find_first_not_of('0'), left.size()));
  right.remove_prefix(std::min(right.find_first_not_of('0'), right.size()));
  if (left.size() != right.size()) return left.size() <=> right.size();
  return left.compare(right) <=> 0;
}

std::weak_ordering CompareWords(std::string_view left, std::string_view right) noexcept {
  return std::lexicographical_compare_three_way(
      left.begin(), left.end(), right.begin(), right.end(),
      [](char a, char b) -> std::weak_ordering {
        return static_cast<unsigned char>(ToLower(a)) <=> static_cast<unsigned char>(ToLower(b));
      });
}

// Walks over the runs of a text.
class TRuns {
 public:
  explicit TRuns(std::string_view text) noexcept : rest(text) { Advance(); }

  bool AtEnd() const noexcept { return run.empty(); }
  bool IsNumber() const noexcept { return IsDigit(run.front()); }
  bool IsZero() const noexcept {
    return !AtEnd() && run.find_first_not_of('0') == std::string_view::npos;
  }
  std::string_view Run() const noexcept { return run; }
  // Whether a "~" stood before the run: what follows one may sort before nothing.
  bool IsBehindTilde() const noexcept { return behindTilde; }

  void Advance() noexcept {
    const std::size_t gap = CountWhile(rest, [](char c) { return !IsDigit(c) && !IsLetter(c); });
    behindTilde = rest.substr(0, gap).find('~') != std::string_view::npos;
    rest.remove_prefix(gap);
    const bool number = !rest.empty() && IsDigit(rest.front());
    run = rest.substr(0, CountWhile(rest, number ? IsDigit : IsLetter));
    rest.remove_prefix(run.size());
  }

 private:
  std::string_view rest;
  std::string_view run;
  bool behindTilde = false;
};

// How what is left of a longer text sorts against the end of the shorter one.
TOrder CompareWithEnd(TRuns longer) noexcept {
  while (longer.IsZero() && !longer.IsBehindTilde()) longer.Advance();
  if (longer.AtEnd()) return std::weak_ordering::equivalent;
  // One letter is a later revision; a word ("rc", "hotfix") may stand for earlier or later.
  if (longer.IsBehindTilde() || (!longer.IsNumber() && longer.Run().size() > 1)) return {};
  return std::weak_ordering::greater;
}

TOrder Reverse(TOrder order) noexcept {
  if (order) order = 0 <=> *order;
  return order;
}

TOrder CompareRuns(TRuns left, TRuns right) noexcept {
  bool first = true;
  while (!left.AtEnd() && !right.AtEnd()) {
    if (left.IsNumber() != right.IsNumber()) {
      // "1.2.0" against "1.2a": the zero is as good as absent.
      if (!left.IsZero() && !right.IsZero()) return {};
      (left.IsZero() ? left : right).Advance();
      continue;
    }
    const auto order = left.IsNumber() ? CompareNumbers(left.Run(), right.Run())
                                       : CompareWords(left.Run(), right.Run());
    if (order != 0) {
      if (first && !left.IsNumber()) return {};
      return order;
    }
    first = false;
    left.Advance();
    right.Advance();
  }
  if (left.AtEnd()) return Reverse(CompareWithEnd(right));
  return CompareWithEnd(left);
}

TOrder CompareBuildIds(std::string_view left, std::string_view right) noexcept {
  const std::size_t length = SeriesLength(left);
  if (length != SeriesLength(right) ||
      CompareWords(left.substr(0, length), right.substr(0, length)) != 0) {
    return {};
  }
  return CompareRuns(TRuns(left.substr(length)), TRuns(right.substr(length)));
}

// The "v" of "v1.2" says no more than that a version follows.
std::string_view WithoutMark(std::string_view text) noexcept {
  if (text.size() > 1 && ToLower(text[0]) == 'v' && IsDigit(text[1])) text.remove_prefix(1);
  return text;
}

}  // namespace

bool IsBuildId(std::string_view text) noexcept { return SeriesLength(text) != 0; }

TOrder CompareVersions(std::string_view left, std::string_view right) noexcept {
  left = Trim(left);
  right = Trim(right);
  if (CompareWords(left, right) == 0) return std::weak_ordering::equivalent;
  if (IsBuildId(left) != IsBuildId(right) || IsChecksum(left) || IsChecksum(right)) return {};
  if (IsBuildId(left)) return CompareBuildIds(left, right);
  if (!HasDigit(left) || !HasDigit(right)) return {};
  return CompareRuns(TRuns(WithoutMark(left)), TRuns(WithoutMark(right)));
}

namespace {

// A text that names a version, a build, or both. An absent one is empty.
struct TParts {
  std::string_view version;
  std::string_view build;
};

bool SaysNothing(std::string_view text) noexcept {
  return std::none_of(text.begin(), text.end(), IsAlphanumeric);
}

TParts OnePart(std::string_view text) noexcept {
  return IsBuildId(text) ? TParts{{}, text} : TParts{text, {}};
}

// "1.00 (YUOO99A) "
std::optional<TParts> SplitParentheses(std::string_view text) noexcept {
  text = Trim(text);
  const std::size_t open = text.rfind('(');
  if (open == std::string_view::npos || !text.ends_with(')')) return {};
  return TParts{Trim(text.substr(0, open)), Trim(text.substr(open + 1, text.size() - open - 2))};
}

// "YUOO99A-1.10", the contents of a pair of marks.
TParts SplitAtDash(std::string_view text) noexcept {
  const std::size_t dash = text.find('-');
  if (dash == std::string_view::npos || !IsBuildId(text.substr(0, dash))) return OnePart(text);
  return TParts{Trim(text.substr(dash + 1)), text.substr(0, dash)};
}

// "-[YUOO99A-1.10]-" or "1.10-[YUOO99A]-"; other texts are one part.
TParts SplitMarks(std::string_view text) noexcept {
  text = Trim(text);
  const std::size_t open = text.find("-[");
  const std::size_t close = open == std::string_view::npos ? open : text.find("]-", open + 2);
  if (close == std::string_view::npos) return OnePart(text);
  TParts parts = SplitAtDash(Trim(text.substr(open + 2, close - open - 2)));
  if (parts.version.empty()) parts.version = Trim(text.substr(0, open));
  return parts;
}

struct TPair {
  std::string_view first;
  std::string_view second;
};

// "YUOO99A - 1.10"
std::optional<TPair> SplitSpacedDash(std::string_view text) noexcept {
  const std::size_t dash = text.find(" - ");
  if (dash == std::string_view::npos) return {};
  return TPair{Trim(text.substr(0, dash)), Trim(text.substr(dash + 3))};
}

TParts InstalledParts(std::string_view text) noexcept {
  const auto pair = SplitSpacedDash(text);
  return pair ? TParts{pair->second, pair->first} : SplitMarks(text);
}

// What the offered side says has the order that the installed side leaves; where the build ids tell
// that it has not, they decide.
TParts OfferedParts(std::string_view text) noexcept {
  const auto pair = SplitSpacedDash(text);
  if (!pair) return SplitMarks(text);
  if (IsBuildId(pair->first) && !IsBuildId(pair->second)) return {pair->second, pair->first};
  return {pair->first, pair->second};
}

EVerdict VerdictOf(std::weak_ordering order) noexcept {
  if (order < 0) return EVerdict::kOutdated;
  return order > 0 ? EVerdict::kNewer : EVerdict::kCurrent;
}

// None when one side is silent.
std::optional<EVerdict> JudgePart(std::string_view installed, std::string_view offered) noexcept {
  if (SaysNothing(installed) || SaysNothing(offered)) return {};
  const auto order = CompareVersions(installed, offered);
  return order ? VerdictOf(*order) : EVerdict::kUnknown;
}

// The version speaks first; equal versions leave it to the build. Two answers that contradict each
// other are none.
EVerdict Combine(std::optional<EVerdict> version, std::optional<EVerdict> build) noexcept {
  if (!version || !build) return version.value_or(build.value_or(EVerdict::kUnknown));
  if (*version == EVerdict::kCurrent || *version == EVerdict::kUnknown) return *build;
  const bool contradiction =
      *build != *version && *build != EVerdict::kUnknown && *build != EVerdict::kCurrent;
  return contradiction ? EVerdict::kUnknown : *version;
}

EVerdict JudgeParts(const TParts& installed, const TParts& offered) noexcept {
  return Combine(JudgePart(installed.version, offered.version),
                 JudgePart(installed.build, offered.build));
}

// The version in front may be the installed one on both sides: alone it says nothing.
EVerdict JudgeParenthesized(const TParts& installed, const TParts& offered) noexcept {
  if (SaysNothing(installed.build) || SaysNothing(offered.build)) return EVerdict::kUnknown;
  return JudgeParts(installed, offered);
}

}  // namespace

std::optional<EVerdict> VerdictOfName(std::string_view name) noexcept {
  const auto found = std::find_if(kVerdicts.begin(), kVerdicts.end(),
                                  [&](EVerdict verdict) { return NameOf(verdict) == name; });
  if (found == kVerdicts.end()) return {};
  return *found;
}

EVerdict JudgeTexts(std::string_view installed, std::string_view offered) noexcept {
  if (SaysNothing(installed) || SaysNothing(offered)) return EVerdict::kUnknown;
  if (Trim(installed) == Trim(offered)) return EVerdict::kCurrent;
  const auto installedPair = SplitParentheses(installed);
  const auto offeredPair = SplitParentheses(offered);
  if (installedPair && offeredPair) return JudgeParenthesized(*installedPair, *offeredPair);
  return JudgeParts(InstalledParts(installed), OfferedParts(offered));
}

}  // namespace svc::report
