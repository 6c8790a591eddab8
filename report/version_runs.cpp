// How a version text is taken apart; how two are compared stands in version.cpp.
#include "report/version.h"

#include <algorithm>
#include <array>
#include <optional>

#include "report/text.h"

namespace svc::report {

namespace {

// "*" stands for any number, as "x" does.
bool IsOfWord(char c) noexcept { return IsLetter(c) || c == '*'; }

bool IsSeparator(char c) noexcept { return !IsDigit(c) && !IsOfWord(c); }
bool IsDateSeparator(char c) noexcept { return IsBlank(c) || c == '-' || c == ','; }

// Number and revision behind a series, such as "99A".
bool IsNumberAndRevision(std::string_view text, std::size_t mostDigits) noexcept {
  const std::size_t digits = CountWhile<IsDigit>(text);
  if (digits < 2 || digits > mostDigits) return false;
  const std::string_view revision = text.substr(digits);
  return !revision.empty() && revision.size() <= 3 && All<IsLetter>(revision);
}

// How often letters and digits take turns.
std::size_t Turns(std::string_view text) noexcept {
  std::size_t turns = 0;
  for (std::size_t at = 1; at < text.size(); ++at) {
    turns += IsDigit(text[at - 1]) != IsDigit(text[at]) ? 1 : 0;
  }
  return turns;
}

// From twelve hexadecimal digits on, letters among them, it is a checksum. The names of commits are
// cut to seven and more, microcode has eight: these are told from a number with its revision
// ("20240131a") by turns of letters and digits.
bool IsHash(std::string_view word) noexcept {
  constexpr std::size_t kShortest = 7, kCertain = 12;
  if (word.starts_with('g') && word.size() > kShortest && All<IsHexDigit>(word.substr(1))) {
    return true;  // As `git describe` writes a commit.
  }
  const bool named = word.starts_with("git");
  if (named) word.remove_prefix(3);
  if (word.size() < kShortest || !All<IsHexDigit>(word) || All<IsDigit>(word) || IsBuildId(word))
    return false;
  return named || word.size() >= kCertain || Turns(word) >= 2;
}

bool IsHexNumber(std::string_view word) noexcept {
  return word.size() > 2 && word[0] == '0' && ToLower(word[1]) == 'x' &&
         All<IsHexDigit>(word.substr(2));
}

bool IsPatchLetter(char c) noexcept { return ToLower(c) == 'p' || ToLower(c) == 'r'; }

struct TDate {
  std::uint32_t year = 0, month = 0, day = 0;

  // Whether it may be one of a version: no year before 1990, none far ahead. Months of less than 31
  // days are not looked at.
  bool IsPlausible() const noexcept {
    return year >= 1990 && year <= 2099 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
  }
  std::uint32_t Number() const noexcept {
    return IsPlausible() ? year * 10000 + month * 100 + day : 0;
  }
};

// Reads the parts of a date one after the other.
class TDateReader {
 public:
  explicit TDateReader(std::string_view text) noexcept : text(text) {}

  std::size_t Length() const noexcept { return length; }
  std::string_view Rest() const noexcept { return text.substr(length); }

  // A number of at least and at most so many digits.
  std::optional<std::uint32_t> Number(std::size_t least, std::size_t most) noexcept {
    const std::size_t digits = CountWhile<IsDigit>(Rest());
    if (digits < least || digits > most) return {};
    std::uint32_t value = 0;
    for (const char digit : Rest().substr(0, digits)) {
      value = value * 10 + static_cast<std::uint32_t>(digit - '0');
    }
    length += digits;
    return value;
  }

  // 1 to 12 for the name of a month or its first three letters and more.
  std::optional<std::uint32_t> Month() noexcept {
    constexpr std::array<std::string_view, 12> kMonths = {
        "january", "february", "march",     "april",   "may",      "june",
        "july",    "august",   "september", "october", "november", "december"};
    const std::string_view word = Rest().substr(0, CountWhile<IsLetter>(Rest()));
    const auto found = std::find_if(kMonths.begin(), kMonths.end(), [&](std::string_view month) {
      return word.size() >= 3 && word.size() <= month.size() &&
             std::equal(word.begin(), word.end(), month.begin(),
                        [](char a, char b) { return ToLower(a) == b; });
    });
    if (found == kMonths.end()) return {};
    length += word.size();
    return static_cast<std::uint32_t>(found - kMonths.begin()) + 1;
  }

  void SkipSeparators() noexcept { length += CountWhile<IsDateSeparator>(Rest()); }
  bool Skip(char separator) noexcept {
    if (!Rest().starts_with(separator)) return false;
    ++length;
    return true;
  }

 private:
  std::string_view text;
  std::size_t length = 0;
};

struct TFound {
  std::size_t length = 0;
  std::uint32_t date = 0;
};

// Whether a month's name may follow here; told by a look, since most versions hold none.
bool MayHoldMonth(std::string_view text) noexcept {
  constexpr std::string_view kShortest = "4Jul2016";
  if (text.size() < kShortest.size()) return false;
  const std::size_t digits = !IsDigit(text[0]) ? 0 : !IsDigit(text[1]) ? 1 : 2;
  const char next = text[digits];
  return IsLetter(next) || IsBlank(next) || next == '-' || next == ',';
}

// "22-Dec-2011", "04Jul2016", "Dec 22 2011"
std::optional<TFound> DateWithName(std::string_view text) noexcept {
  if (!MayHoldMonth(text)) return {};
  TDateReader reader(text);
  auto day = reader.Number(1, 2);
  reader.SkipSeparators();
  const auto month = reader.Month();
  if (!month) return {};
  reader.SkipSeparators();
  if (!day) {
    day = reader.Number(1, 2);
    reader.SkipSeparators();
  }
  const auto year = reader.Number(4, 4);
  if (!day || !year || (!reader.Rest().empty() && IsLetter(reader.Rest().front()))) return {};
  const std::uint32_t date = TDate{*year, *month, *day}.Number();
  return date == 0 ? std::nullopt : std::optional(TFound{reader.Length(), date});
}

// Three numbers of the form "1/31/2024" up to a blank, a bracket or the end.
std::optional<TFound> DateOfNumbers(std::string_view text, char separator) noexcept {
  constexpr std::string_view kShortest = "1/1/24";
  if (text.size() < kShortest.size() || (text[1] != separator && text[2] != separator)) return {};
  TDateReader reader(text);
  for (int number = 0; number < 2; ++number) {
    if (!reader.Number(1, 2) || !reader.Skip(separator)) return {};
  }
  if (!reader.Number(2, 4)) return {};
  const char next = reader.Rest().empty() ? ' ' : reader.Rest().front();
  if (!IsBlank(next) && next != ')' && next != ']') return {};
  const TDateReadings readings = ReadDate(text.substr(0, reader.Length()));
  if (separator == '/') return TFound{reader.Length(), readings.monthFirst};
  return readings.AreAny() ? std::optional(TFound{reader.Length(), 0}) : std::nullopt;
}

bool IsDay(std::string_view digits) noexcept {
  TDateReader year(digits.substr(0, 4)), month(digits.substr(4, 2)), day(digits.substr(6));
  return TDate{*year.Number(4, 4), *month.Number(2, 2), *day.Number(2, 2)}.IsPlausible();
}

unsigned MarksOf(std::string_view separators) noexcept {
  unsigned marks = 0;
  for (const char c : separators) {
    if (c == '~') marks |= kTilde;
    if (c == '+') marks |= kPlus;
    if (c == '(' || c == '[') marks |= kBracket;
  }
  return marks;
}

}  // namespace

void TRuns::Advance() noexcept {
  const std::size_t gap = CountWhile<IsSeparator>(rest);
  const std::string_view separators = rest.substr(0, gap);
  rest.remove_prefix(gap);
  run = TRun{ERun::kEnd, {}, MarksOf(separators)};
  if (isFirst) run.marks &= ~static_cast<unsigned>(kBracket);
  if (rest.empty()) return;
  isFirst || gap > 0 ? ReadFirstOfWord(separators) : ReadPart(separators);
  isFirst = false;
}

// What is told by the whole of a word, or by several.
void TRuns::ReadFirstOfWord(std::string_view separators) noexcept {
  const char before = separators.empty() ? ' ' : separators.back();
  std::optional<TFound> date = DateWithName(rest);
  if (!date && before != '.' && before != '/') date = DateOfNumbers(rest, '/');
  if (!date && (IsBlank(before) || before == '(' || before == '[')) {
    date = DateOfNumbers(rest, '-');
  }
  if (date) {
    run.date = date->date;
    return Take(run.date == 0 ? ERun::kOddDate : ERun::kDate, date->length);
  }
  const std::string_view word = rest.substr(0, CountWhile<IsAlphanumeric>(rest));
  if (IsHexNumber(word) && before != '.') return Take(ERun::kHex, word.size(), 2);
  if (IsHash(word)) return Take(ERun::kHash, word.size());
  ReadPart(separators);
}

// Digits, or letters.
void TRuns::ReadPart(std::string_view separators) noexcept {
  constexpr std::size_t kDigitsOfDay = 8;
  if (IsDigit(rest.front())) {
    const std::size_t digits = CountWhile<IsDigit>(rest);
    const bool isDay = digits == kDigitsOfDay && IsDay(rest.substr(0, digits));
    return Take(isDay ? ERun::kDay : ERun::kNumber, digits);
  }
  const std::size_t letters = CountWhile<IsOfWord>(rest);
  const char letter = ToLower(rest.front());
  if (letters > 1 || letter < 'a' || letter > 'z' || isFirst) return Take(ERun::kWord, letters);
  const bool numbered = rest.size() > 1 && IsDigit(rest[1]);
  const bool close = separators.empty() || separators == ".";
  if (numbered && IsPatchLetter(letter) && (close || separators == "-")) {
    return Take(ERun::kPatch, 1);
  }
  const bool wild = letter == 'x' && !separators.empty();
  if (!close || wild) return Take(ERun::kWord, 1);
  Take(numbered ? ERun::kLettered : ERun::kRevision, 1);
}

void TRuns::Take(ERun kind, std::size_t length, std::size_t prefix) noexcept {
  run.kind = kind;
  run.text = rest.substr(prefix, length - prefix);
  rest.remove_prefix(length);
}

TDateReadings ReadDate(std::string_view text) noexcept {
  constexpr std::string_view kShortest = "1.1.2024", kLongest = "31.12.2024";
  constexpr std::size_t kYear = 4;  // Behind the last separator.
  if (text.size() < kShortest.size() || text.size() > kLongest.size() ||
      IsDigit(text[text.size() - kYear - 1])) {
    return {};
  }
  TDateReader reader(text);
  const auto first = reader.Number(1, 2);
  const char separator = reader.Rest().empty() ? '\0' : reader.Rest().front();
  if (!first || (separator != '.' && separator != '-' && separator != '/')) return {};
  reader.Skip(separator);
  const auto second = reader.Number(1, 2);
  if (!second || !reader.Skip(separator)) return {};
  const auto year = reader.Number(4, 4);
  if (!year || !reader.Rest().empty()) return {};
  return {TDate{*year, *second, *first}.Number(), TDate{*year, *first, *second}.Number(),
          *first * 1000000 + *second * 10000 + *year};
}

std::size_t SeriesLength(std::string_view text) noexcept {
  constexpr std::size_t kFixedSeries = 4;
  const std::size_t letters = CountWhile<IsLetter>(text);
  if (letters >= 2 && letters <= 5 && IsNumberAndRevision(text.substr(letters), 3)) return letters;
  if (text.size() < kFixedSeries) return 0;
  const std::string_view series = text.substr(0, kFixedSeries);
  const bool mixed =
      All<IsAlphanumeric>(series) && std::count_if(series.begin(), series.end(), IsLetter) >= 2;
  return mixed && IsNumberAndRevision(text.substr(kFixedSeries), 2) ? kFixedSeries : 0;
}

bool IsBuildId(std::string_view text) noexcept { return SeriesLength(text) != 0; }

}  // namespace svc::report
