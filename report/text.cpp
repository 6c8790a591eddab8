#include "report/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>

#include "base/shown_text.h"

namespace svc::report {

namespace {

struct TRange {
  char32_t first;
  char32_t last;
};
// Unicode 15, EastAsianWidth.txt: the blocks whose characters are wide, coarsely.
constexpr std::array kWide = {
    TRange{0x1100, 0x115F},   TRange{0x231A, 0x231B},   TRange{0x2329, 0x232A},
    TRange{0x23E9, 0x23EC},   TRange{0x2614, 0x2615},   TRange{0x26A1, 0x26A1},
    TRange{0x2705, 0x2705},   TRange{0x274C, 0x274C},   TRange{0x2E80, 0x303E},
    TRange{0x3041, 0xA4CF},   TRange{0xA960, 0xA97F},   TRange{0xAC00, 0xD7A3},
    TRange{0xF900, 0xFAFF},   TRange{0xFE30, 0xFE6F},   TRange{0xFF00, 0xFF60},
    TRange{0xFFE0, 0xFFE6},   TRange{0x16FE0, 0x18CFF}, TRange{0x1AFF0, 0x1B2FF},
    TRange{0x1F300, 0x1F64F}, TRange{0x1F680, 0x1F6FF}, TRange{0x1F900, 0x1F9FF},
    TRange{0x20000, 0x3FFFD}};
// Marks that stand over the character before them, joiners and direction marks.
constexpr std::array kZeroWidth = {
    TRange{0x0300, 0x036F}, TRange{0x0483, 0x0489}, TRange{0x0591, 0x05BD}, TRange{0x0610, 0x061A},
    TRange{0x064B, 0x065F}, TRange{0x0E34, 0x0E3A}, TRange{0x0E47, 0x0E4E}, TRange{0x1AB0, 0x1AFF},
    TRange{0x1DC0, 0x1DFF}, TRange{0x200B, 0x200F}, TRange{0x202A, 0x202E}, TRange{0x2060, 0x2064},
    TRange{0x20D0, 0x20FF}, TRange{0xFE00, 0xFE0F}, TRange{0xFE20, 0xFE2F}, TRange{0xFEFF, 0xFEFF}};

template <std::size_t kSize>
bool IsIn(const std::array<TRange, kSize>& ranges, char32_t value) noexcept {
  const auto found = std::upper_bound(
      ranges.begin(), ranges.end(), value,
      [](char32_t searched, const TRange& range) { return searched < range.first; });
  return found != ranges.begin() && value <= std::prev(found)->last;
}

std::size_t WidthOf(char32_t value) noexcept {
  if (value < 0x300) return 1;
  if (IsIn(kZeroWidth, value)) return 0;
  return IsIn(kWide, value) ? 2 : 1;
}

// Copies a text, letting `write` replace a character: it returns the text to write instead, or an
// empty one to keep the character.
template <typename TReplace>
std::string Rewrite(std::string_view text, const TReplace& replace) {
  std::string result;
  result.reserve(text.size() + 2);
  while (!text.empty()) {
    const TCodePoint character = FirstCodePoint(text);
    const std::string_view replacement =
        character.valid ? replace(character.value) : kReplacementText;
    result += replacement.empty() ? text.substr(0, character.size) : replacement;
    text.remove_prefix(character.size);
  }
  return result;
}

std::string_view XmlReplacement(char32_t value) noexcept {
  switch (value) {
    case '\t':
      return "&#9;";
    case '\n':
      return "&#10;";
    case '\r':
      return "&#13;";
    default:
      return value < 0x20 || value == 0xFFFE || value == 0xFFFF ? kReplacementText
                                                                : MarkupReplacement(value);
  }
}

}  // namespace

std::string ValidUtf8(std::string_view text) {
  return Rewrite(text, [](char32_t) { return std::string_view(); });
}

std::string PlainLine(std::string_view text) {
  return Rewrite(text, [](char32_t value) {
    return MayBeShown(value) ? std::string_view() : kReplacementText;
  });
}

std::string PlainText(std::string_view text) {
  return Rewrite(text, [](char32_t value) {
    const bool isKept = value == '\t' || value == '\n' || value == '\r';
    return isKept || MayBeShown(value) ? std::string_view() : kReplacementText;
  });
}

std::size_t DisplayWidth(std::string_view text) noexcept {
  std::size_t width = 0;
  while (!text.empty()) {
    const TCodePoint character = FirstCodePoint(text);
    width += WidthOf(character.value);
    text.remove_prefix(character.size);
  }
  return width;
}

std::string CutToWidth(std::string_view text, std::size_t columns) {
  if (DisplayWidth(text) <= columns) return std::string(text);
  if (columns == 0) return {};
  std::size_t width = 1;  // The mark of the cut.
  std::size_t kept = 0;
  while (kept < text.size()) {
    const TCodePoint character = FirstCodePoint(text.substr(kept));
    width += WidthOf(character.value);
    if (width > columns) break;
    kept += character.size;
  }
  return std::string(text.substr(0, kept)) + "…";
}

std::string XmlText(std::string_view text) { return Rewrite(text, XmlReplacement); }

std::string PageText(std::string_view text) { return XmlText(PlainLine(text)); }

// OWASP, "CSV Injection". The full-width forms count where the spreadsheet speaks Japanese.
static bool BeginsFormula(std::string_view text) noexcept {
  constexpr std::array<std::string_view, 8> kMarks = {
      "=", "+", "-", "@", "\xEF\xBC\x9D", "\xEF\xBC\x8B", "\xEF\xBC\x8D", "\xEF\xBC\xA0"};
  return std::ranges::any_of(kMarks, [&](std::string_view mark) { return text.starts_with(mark); });
}

// With an apostrophe before each formula. A spreadsheet that parts cells at semicolons or tabs, as
// in many countries, begins one within the text too: quotes hold a text together only where they
// begin what that spreadsheet takes for a cell, and there they may end at once.
static std::string WithoutFormulas(std::string_view text) {
  constexpr std::string_view kBlanks = "\t\r\n";
  constexpr std::string_view kParting = ";\t\r\n";
  std::string safe = text.find_first_of(kBlanks) == 0 ? "'" : "";
  bool isBegin = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isBegin && BeginsFormula(text.substr(i))) safe += '\'';
    safe += text[i];
    isBegin = kParting.find(text[i]) != kParting.npos || (isBegin && i > 0 && text[i] == '"');
  }
  return safe;
}

std::string CsvField(std::string_view text, ECsvTexts texts) {
  std::string plain = PlainText(text);
  if (texts == ECsvTexts::kSafe) plain = WithoutFormulas(plain);
  if (plain.find_first_of(",;\"\t\r\n") == std::string::npos &&
      Trim(plain).size() == plain.size()) {
    return plain;
  }
  std::string quoted = "\"";
  for (const char c : plain) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

std::string UtcTime(std::int64_t seconds) {
  using namespace std::chrono;
  // The years that the form has digits for, so that it is read back.
  constexpr sys_seconds kFirst = sys_days(year(0) / January / 1);
  constexpr sys_seconds kLast = sys_days(year(10000) / January / 1) - std::chrono::seconds(1);
  const sys_seconds time = std::clamp(sys_seconds(std::chrono::seconds(seconds)), kFirst, kLast);
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

std::optional<std::int64_t> SecondsOfUtcTime(std::string_view text) noexcept {
  constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
  if (text.size() != kForm.size()) return {};
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    if (kForm[i] == '0' ? !IsDigit(text[i]) : text[i] != kForm[i]) return {};
  }
  const auto number = [&](std::size_t first, std::size_t count) {
    int value = 0;
    for (const char c : text.substr(first, count)) value = value * 10 + (c - '0');
    return value;
  };
  using namespace std::chrono;
  const year_month_day date{year(number(0, 4)), month(static_cast<unsigned>(number(5, 2))),
                            day(static_cast<unsigned>(number(8, 2)))};
  if (!date.ok() || number(11, 2) > 23 || number(14, 2) > 59 || number(17, 2) > 60) return {};
  const auto time =
      sys_days(date) + hours(number(11, 2)) + minutes(number(14, 2)) + seconds(number(17, 2));
  return time.time_since_epoch().count();
}

std::string Age(std::int64_t seconds) {
  struct TUnit {
    std::int64_t seconds;
    std::string_view name;
  };
  constexpr std::array kUnits = {TUnit{365 * 86400, "year"}, TUnit{86400, "day"},
                                 TUnit{3600, "hour"}, TUnit{60, "minute"}};
  for (const TUnit& unit : kUnits) {
    const std::int64_t count = seconds / unit.seconds;
    if (count > 0) return fmt::format("{} {}{}", count, unit.name, count == 1 ? "" : "s");
  }
  return "less than a minute";
}

bool ContainsAnyCase(std::string_view text, std::string_view part) noexcept {
  return std::search(text.begin(), text.end(), part.begin(), part.end(),
                     [](char a, char b) { return ToLower(a) == ToLower(b); }) != text.end();
}

}  // namespace svc::report
