#include "report/version.h"

#include <algorithm>

#include "report/text.h"

namespace svc::report {

namespace {

using enum EUnordered;

bool HasDigit(std::string_view text) noexcept {
  return !All<[](char c) { return !IsDigit(c); }>(text);
}

// By hand: LLVM's library has std::lexicographical_compare_three_way from version 17 on.
std::weak_ordering CompareWords(std::string_view left, std::string_view right) noexcept {
  const std::size_t shorter = std::min(left.size(), right.size());
  for (std::size_t at = 0; at < shorter; ++at) {
    const auto order = static_cast<unsigned char>(ToLower(left[at])) <=>
                       static_cast<unsigned char>(ToLower(right[at]));
    if (order != 0) return order;
  }
  return left.size() <=> right.size();
}

// Orders numbers of any length, decimal or hexadecimal, by value: as texts of one length, since
// digits come before letters.
std::weak_ordering CompareNumbers(std::string_view left, std::string_view right) noexcept {
  left.remove_prefix(std::min(left.find_first_not_of('0'), left.size()));
  right.remove_prefix(std::min(right.find_first_not_of('0'), right.size()));
  if (left.size() != right.size()) return left.size() <=> right.size();
  return CompareWords(left, right);
}

TVersionOrder Reverse(TVersionOrder order) noexcept {
  return order ? TVersionOrder(0 <=> *order) : order;
}

// The order of texts that can be read in two ways: none unless both readings give the same.
TVersionOrder Agreed(TVersionOrder one, TVersionOrder other, EUnordered why) noexcept {
  return one && other && *one == *other ? one : TVersionOrder(why);
}

// Orders the words for stages before a release; other words have no order.
TVersionOrder ComparePhases(std::string_view left, std::string_view right) noexcept {
  constexpr std::array<std::string_view, 3> kPhases = {"alpha", "beta", "rc"};
  const auto phase = [&](std::string_view word) {
    return std::find_if(kPhases.begin(), kPhases.end(),
                        [&](std::string_view known) { return CompareWords(word, known) == 0; });
  };
  const auto one = phase(left), other = phase(right);
  if (one == kPhases.end() || other == kPhases.end()) return kWords;
  return std::weak_ordering(one <=> other);
}

// Why two runs of different kinds have no order.
EUnordered WhyNot(const TRun& one, const TRun& other) noexcept {
  const auto has = [&](ERun kind) { return one.kind == kind || other.kind == kind; };
  if (has(ERun::kHash)) return kHash;
  if (has(ERun::kDate) || has(ERun::kOddDate) || has(ERun::kDay)) return kDates;
  return has(ERun::kEnd) ? kAddition : kForms;
}

// Three numbers that are a version or a date, day or month first: all that they can be must say the
// same.
TVersionOrder CompareReadings(std::string_view left, std::string_view right) noexcept {
  const TDateReadings one = ReadDate(left), other = ReadDate(right);
  const std::weak_ordering order = one.version <=> other.version;
  bool isShared = false, isAgreed = true;
  for (const auto reading : {&TDateReadings::dayFirst, &TDateReadings::monthFirst}) {
    if (one.*reading == 0 || other.*reading == 0) continue;
    isShared = true;
    isAgreed &= (one.*reading <=> other.*reading) == order;
  }
  return isShared && isAgreed ? TVersionOrder(order) : kDates;
}

TVersionOrder CompareOfOneKind(const TRun& left, const TRun& right) noexcept {
  const std::weak_ordering words = CompareWords(left.text, right.text);
  switch (left.kind) {
    case ERun::kNumber:
    case ERun::kDay:
    case ERun::kHex:
      return CompareNumbers(left.text, right.text);
    case ERun::kDate:
      return std::weak_ordering(left.date <=> right.date);
    case ERun::kRevision:
    case ERun::kLettered:
    case ERun::kEnd:
      return words;
    case ERun::kWord:
      return words == 0 ? words : ComparePhases(left.text, right.text);
    case ERun::kPatch:
      return words == 0 ? TVersionOrder(words) : kWords;
    case ERun::kOddDate:
      return words == 0 ? TVersionOrder(words) : CompareReadings(left.text, right.text);
    case ERun::kHash:
      return words == 0 ? TVersionOrder(words) : kHash;
  }
  return kForms;
}

bool AreNumbersOfOneLength(const TRun& left, const TRun& right) noexcept {
  const auto isNumber = [](const TRun& run) {
    return run.kind == ERun::kNumber || run.kind == ERun::kDay;
  };
  return isNumber(left) && isNumber(right) && left.text.size() == right.text.size();
}

// What stands behind a tilde is earlier than what does not.
bool IsEarlierByTilde(const TRun& one, const TRun& other) noexcept {
  return one.marks == kTilde && (other.marks & kTilde) == 0;
}

// A mark before a run may be a separator only or tell an order: both must say the same.
TVersionOrder AgreedWithMarks(std::weak_ordering order, const TRun& left,
                              const TRun& right) noexcept {
  const bool agreed = left.marks == right.marks || (IsEarlierByTilde(left, right) && order < 0) ||
                      (IsEarlierByTilde(right, left) && order > 0);
  return agreed ? TVersionOrder(order) : kAddition;
}

TVersionOrder CompareRun(const TRun& left, const TRun& right) noexcept {
  if (left.kind != right.kind && !AreNumbersOfOneLength(left, right)) return WhyNot(left, right);
  const TVersionOrder order = left.kind == right.kind ? CompareOfOneKind(left, right)
                                                      : CompareNumbers(left.text, right.text);
  return order ? AgreedWithMarks(*order, left, right) : order;
}

// How what is left of a longer text sorts against the end of the shorter one.
TVersionOrder CompareWithEnd(TRuns longer, unsigned marksOfEnd) noexcept {
  while (longer.Run().IsZero()) longer.Advance();
  const TRun& run = longer.Run();
  if (run.marks != marksOfEnd) return kAddition;
  if (longer.AtEnd()) return std::weak_ordering::equivalent;
  const bool isLater =
      run.kind == ERun::kNumber || run.kind == ERun::kRevision || run.kind == ERun::kPatch;
  return isLater ? TVersionOrder(std::weak_ordering::greater) : WhyNot(run, {});
}

// Whether the first run is a zero that is as good as absent, as in "1.2.0" against "1.2a".
bool IsZeroToSkip(const TRun& zero, const TRun& other) noexcept {
  return zero.IsZero() && other.kind != ERun::kNumber;
}

TVersionOrder CompareRuns(TRuns left, TRuns right) noexcept {
  for (bool first = true; !left.AtEnd() && !right.AtEnd();) {
    if (IsZeroToSkip(left.Run(), right.Run())) {
      left.Advance();
      continue;
    }
    if (IsZeroToSkip(right.Run(), left.Run())) {
      right.Advance();
      continue;
    }
    const TVersionOrder order = CompareRun(left.Run(), right.Run());
    if (!order) return order;
    // Texts that begin with different words are versions of different things.
    if (*order != 0) return first && left.Run().kind == ERun::kWord ? kWords : order;
    first = false;
    left.Advance();
    right.Advance();
  }
  if (left.AtEnd()) return Reverse(CompareWithEnd(right, left.Run().marks));
  return CompareWithEnd(left, right.Run().marks);
}

// The letters behind the number of a build id: a revision, in three letters with a language behind
// it ("AUS").
TVersionOrder CompareRevisions(std::string_view left, std::string_view right) noexcept {
  const std::weak_ordering whole = CompareWords(left, right);
  if (whole == 0 || (left.size() == right.size() && left.size() < 3)) return whole;
  if (left.size() == 2 || right.size() == 2) return kSeries;
  const std::weak_ordering revision = CompareWords(left.substr(0, 1), right.substr(0, 1));
  return revision == 0 ? TVersionOrder(kSeries) : revision;
}

// REQUIRES: both are build ids, whose series are `length` characters long.
TVersionOrder CompareBuildIds(std::string_view left, std::string_view right,
                              std::size_t length) noexcept {
  if (CompareWords(left.substr(0, length), right.substr(0, length)) != 0) return kSeries;
  const std::size_t ofLeft = CountWhile<IsDigit>(left.substr(length));
  const std::size_t ofRight = CountWhile<IsDigit>(right.substr(length));
  const auto number = CompareNumbers(left.substr(length, ofLeft), right.substr(length, ofRight));
  return number != 0
             ? TVersionOrder(number)
             : CompareRevisions(left.substr(length + ofLeft), right.substr(length + ofRight));
}

// The "v" of "v1.2" says no more than that a version follows.
std::string_view WithoutMark(std::string_view text) noexcept {
  if (text.size() > 1 && ToLower(text[0]) == 'v' && IsDigit(text[1])) text.remove_prefix(1);
  return text;
}

// "1:2.0": what stands before the colon counts before everything else, where it stands.
bool HasEpoch(std::string_view text) noexcept {
  const std::size_t colon = text.find(':');
  return colon != text.npos && colon > 0 && colon + 1 < text.size() && IsDigit(text[colon + 1]) &&
         All<IsDigit>(text.substr(0, colon));
}

enum class EPairs { kNone, kDecimal, kHex };

// "06.2c.00.00": four numbers of two hexadecimal digits each, as some controllers tell versions.
EPairs PairsOf(std::string_view text) noexcept {
  constexpr std::size_t kLength = 11;
  if (text.size() != kLength) return EPairs::kNone;
  EPairs pairs = EPairs::kDecimal;
  for (std::size_t at = 0; at < kLength; ++at) {
    const bool isDot = at % 3 == 2;
    if (isDot ? text[at] != '.' : !IsHexDigit(text[at])) return EPairs::kNone;
    if (!isDot && IsLetter(text[at])) pairs = EPairs::kHex;
  }
  return pairs;
}

// Of two texts that are no build ids, both with an epoch or both without.
TVersionOrder CompareTexts(std::string_view left, std::string_view right) noexcept {
  const TVersionOrder order = CompareRuns(TRuns(left), TRuns(right));
  const EPairs ofLeft = PairsOf(left), ofRight = PairsOf(right);
  if (ofLeft != EPairs::kHex && ofRight != EPairs::kHex) {
    const auto maybeDate = [](std::string_view text) {
      return text.find('.') != text.npos && ReadDate(text).AreAny();
    };
    const bool maybeDates = maybeDate(left) && maybeDate(right);
    return order && maybeDates ? CompareReadings(left, right) : order;
  }
  const bool comparable = ofLeft != EPairs::kNone && ofRight != EPairs::kNone;
  return comparable ? Agreed(order, CompareWords(left, right), kHash) : TVersionOrder(kHash);
}

}  // namespace

bool IsKernelRelease(std::string_view text) noexcept {
  constexpr std::array<std::string_view, 18> kFlavours = {
      "amd64", "arm64",   "x86_64",  "aarch64", "i386",  "i686", "686", "686-pae", "ppc64le",
      "s390x", "riscv64", "generic", "default", "azure", "aws",  "gcp", "kvm",     "lowlatency"};
  const std::size_t dash = text.find('-');
  if (dash == text.npos || dash == 0 || !IsDigit(text[0]) ||
      text.substr(0, dash).find('.') == text.npos) {
    return false;
  }
  return std::any_of(kFlavours.begin(), kFlavours.end(), [&](std::string_view flavour) {
    const std::size_t before = text.size() - std::min(text.size(), flavour.size() + 1);
    return before >= dash && text.ends_with(flavour) &&
           (text[before] == '-' || text[before] == '.');
  });
}

TVersionOrder CompareVersions(std::string_view left, std::string_view right) noexcept {
  left = Trim(left);
  right = Trim(right);
  if (CompareWords(left, right) == 0) return std::weak_ordering::equivalent;
  const std::size_t series = SeriesLength(left), ofRight = SeriesLength(right);
  if ((series == 0) != (ofRight == 0)) return kForms;
  if (series != ofRight) return kSeries;
  if (series != 0) return CompareBuildIds(left, right, series);
  if (!HasDigit(left) || !HasDigit(right)) return kWords;
  if (IsKernelRelease(left) != IsKernelRelease(right)) return kForms;
  left = WithoutMark(left);
  right = WithoutMark(right);
  return HasEpoch(left) == HasEpoch(right) ? CompareTexts(left, right) : TVersionOrder(kForms);
}

std::optional<EUnordered> UnorderedOfText(std::string_view text) noexcept {
  const auto found = std::ranges::find(kUnorderedTexts, text);
  if (found == kUnorderedTexts.end()) return {};
  return static_cast<EUnordered>(found - kUnorderedTexts.begin());
}

}  // namespace svc::report
