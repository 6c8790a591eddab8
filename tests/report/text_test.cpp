#include "report/text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <string>
#include <string_view>

#include "base/json_writer.h"

namespace svc::report {
namespace {

constexpr std::string_view kMark = "\xEF\xBF\xBD";

TEST(Utf8, BrokenBytesShowAsReplacementCharacters) {
  const std::string mark(kMark);
  EXPECT_EQ(ValidUtf8("a\xFFz"), "a" + mark + "z");
  EXPECT_EQ(ValidUtf8("\xE2\x82z"), mark + "z");             // cut short
  EXPECT_EQ(ValidUtf8("\xC0\xAF"), mark + mark);             // longer than needed
  EXPECT_EQ(ValidUtf8("\xED\xA0\x80"), mark + mark + mark);  // half of a pair
  EXPECT_EQ(ValidUtf8("\xF4\x90\x80\x80"), mark + mark + mark + mark);
  EXPECT_EQ(ValidUtf8("grün 版本 😀"), "grün 版本 😀");
}

std::string Utf8Of(char32_t value) {
  const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
  if (value < 0x80) return {byte(value)};
  if (value < 0x800) return {byte(0xC0 | value >> 6), byte(0x80 | (value & 0x3F))};
  return {byte(0xE0 | value >> 12), byte(0x80 | (value >> 6 & 0x3F)), byte(0x80 | (value & 0x3F))};
}

struct TCharacter {
  char32_t value;
  bool isUnsafe;
};
// Both neighbours of each bound.
constexpr TCharacter kCharacters[] = {
    {0x00, true},    {0x1F, true},   {0x20, false},   {0x7E, false},   {0x7F, true},
    {0x80, true},    {0x9B, true},   {0x9F, true},    {0xA0, false},   {0x2028, false},
    {0x2029, false}, {0x202A, true}, {0x202E, true},  {0x202F, false}, {0x2065, false},
    {0x2066, true},  {0x2069, true}, {0x206A, false}, {0xD7FF, false}, {0xFFFF, false}};

TEST(UnsafeCharacters, AreReplacedWhereAFormatHasNoEscape) {
  const std::string mark(kMark);
  for (const TCharacter& test : kCharacters) {
    const std::string text = Utf8Of(test.value);
    const std::string expected = "a" + (test.isUnsafe ? mark : text) + "b";
    EXPECT_EQ(PlainLine("a" + text + "b"), expected) << static_cast<unsigned>(test.value);
    EXPECT_EQ(PlainText("a" + text + "b"), expected) << static_cast<unsigned>(test.value);
    EXPECT_EQ(CsvField("a" + text + "b", ECsvTexts::kRaw), expected);
  }
  for (const std::string_view kept : {"\t", "\n", "\r"}) {
    EXPECT_EQ(PlainLine(kept), mark);
    EXPECT_EQ(PlainText(kept), kept);
  }
}

std::string Json(std::string_view text) {
  std::string json;
  TJsonWriter(json).Text(text);
  return json;
}

TEST(UnsafeCharacters, AreEscapedInJson) {
  for (const TCharacter& test : kCharacters) {
    const std::string text = Utf8Of(test.value);
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(test.value));
    const std::string expected = "\"a" + (test.isUnsafe ? escape : text) + "b\"";
    EXPECT_EQ(Json("a" + text + "b"), expected);
    EXPECT_EQ(Json("a" + text), expected.substr(0, expected.size() - 2) + '"');
  }
}

TEST(DisplayWidth, CountsColumns) {
  for (const char32_t narrow : {0x2FF, 0x370, 0x10FF, 0x1160, 0x2310, 0x231C, 0x2E7F, 0x303F,
                                0x3040, 0xA4D0, 0xABFF, 0xD7A4, 0xFF61, 0xFE10, 0x200A, 0x2010}) {
    EXPECT_EQ(DisplayWidth(Utf8Of(narrow)), 1u) << static_cast<unsigned>(narrow);
  }
  for (const char32_t wide : {0x1100, 0x115F, 0x231A, 0x231B, 0x2E80, 0x303E, 0x3041, 0xA4CF,
                              0xAC00, 0xD7A3, 0xFF00, 0xFF60}) {
    EXPECT_EQ(DisplayWidth(Utf8Of(wide)), 2u) << static_cast<unsigned>(wide);
  }
  for (const char32_t none : {0x300, 0x36F, 0x200B, 0x200F, 0xFE00, 0xFE0F, 0xFEFF}) {
    EXPECT_EQ(DisplayWidth(Utf8Of(none)), 0u) << static_cast<unsigned>(none);
  }
  EXPECT_EQ(DisplayWidth("abc"), 3u);
  EXPECT_EQ(DisplayWidth("版本"), 4u);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1u);
  EXPECT_EQ(DisplayWidth("\xFF"), 1u);
}

TEST(CutToWidth, NeverSplitsACharacter) {
  EXPECT_EQ(CutToWidth("abcdef", 7), "abcdef");
  EXPECT_EQ(CutToWidth("abcdef", 6), "abcdef");
  EXPECT_EQ(CutToWidth("abcdef", 5), "abcd…");
  EXPECT_EQ(CutToWidth("abcdef", 1), "…");
  EXPECT_EQ(CutToWidth("abcdef", 0), "");
  EXPECT_EQ(CutToWidth("", 0), "");
  EXPECT_EQ(CutToWidth("abcdef", 4), "abc…");
  EXPECT_EQ(CutToWidth("版本版", 4), "版…");
  EXPECT_EQ(CutToWidth("版本版", 5), "版本…");
  EXPECT_EQ(CutToWidth("版本版", 6), "版本版");
  EXPECT_EQ(CutToWidth("e\xCC\x81xyz", 2), "e\xCC\x81…");  // The accent stays with its letter.
}

TEST(XmlText, EscapesMarkup) {
  EXPECT_EQ(XmlText("<a b=\"c\">&\x01"), "&lt;a b=&quot;c&quot;&gt;&amp;" + std::string(kMark));
}

TEST(XmlText, KeepsWhiteSpaceOfAttributesAndDropsWhatXmlDoesNotHave) {
  EXPECT_EQ(XmlText("\t\n\r"), "&#9;&#10;&#13;");
  EXPECT_EQ(XmlText("\x1F\x20\xEF\xBF\xBD"), std::string(kMark) + " " + std::string(kMark));
  EXPECT_EQ(XmlText("\xEF\xBF\xBE\xEF\xBF\xBF"), std::string(kMark) + std::string(kMark));
  EXPECT_EQ(XmlText("\xC2\x9B"), "\xC2\x9B");  // A catalogue that is written keeps it.
  EXPECT_EQ(PageText("<\xC2\x9B\n"), "&lt;" + std::string(kMark) + std::string(kMark));
}

TEST(CsvField, QuotesWhereItMust) {
  for (const ECsvTexts texts : {ECsvTexts::kSafe, ECsvTexts::kRaw}) {
    EXPECT_EQ(CsvField("plain", texts), "plain");
    EXPECT_EQ(CsvField("", texts), "");
    EXPECT_EQ(CsvField("a,b", texts), "\"a,b\"");
    EXPECT_EQ(CsvField("a;b", texts), "\"a;b\"");
    EXPECT_EQ(CsvField("a\tb", texts), "\"a\tb\"");
    EXPECT_EQ(CsvField("a b'c:d", texts), "a b'c:d");
    EXPECT_EQ(CsvField("a\"b", texts), "\"a\"\"b\"");
    EXPECT_EQ(CsvField("a\nb", texts), "\"a\nb\"");
    EXPECT_EQ(CsvField("a\rb", texts), "\"a\rb\"");
    EXPECT_EQ(CsvField("1.00 (A) ", texts), "\"1.00 (A) \"");
    EXPECT_EQ(CsvField(" a", texts), "\" a\"");
  }
}

TEST(CsvField, IsNoFormulaUnlessItIsForPrograms) {
  struct TCase {
    std::string_view text;
    std::string_view safe;
    std::string_view raw;
  };
  for (const TCase& test :
       {TCase{"=1+1", "'=1+1", "=1+1"}, TCase{"+1", "'+1", "+1"}, TCase{"-1", "'-1", "-1"},
        TCase{"@A1", "'@A1", "@A1"}, TCase{"=", "'=", "="}, TCase{"\tx", "\"'\tx\"", "\"\tx\""},
        TCase{"\rx", "\"'\rx\"", "\"\rx\""}, TCase{"\nx", "\"'\nx\"", "\"\nx\""},
        TCase{"=\"a,b\"", "\"'=\"\"a,b\"\"\"", "\"=\"\"a,b\"\"\""}, TCase{"1=1", "1=1", "1=1"},
        TCase{"'=1", "'=1", "'=1"},
        TCase{"-[YUOO99A-1.10]-", "'-[YUOO99A-1.10]-", "-[YUOO99A-1.10]-"}}) {
    EXPECT_EQ(CsvField(test.text, ECsvTexts::kSafe), test.safe);
    EXPECT_EQ(CsvField(test.text, ECsvTexts::kRaw), test.raw);
  }
}

TEST(CsvField, IsNoFormulaWhereCellsArePartedAtSemicolonsTabsOrLinesEither) {
  struct TCase {
    std::string_view text;
    std::string_view safe;
  };
  for (const TCase& test :
       {TCase{"a;=1", "\"a;'=1\""}, TCase{"a\t+1", "\"a\t'+1\""}, TCase{"a\n-1", "\"a\n'-1\""},
        TCase{"a\r@b", "\"a\r'@b\""}, TCase{";;=1;=", "\";;'=1;'=\""},
        TCase{"a;\"=1", "\"a;\"\"'=1\""}, TCase{"a;\"\"\"=1", "\"a;\"\"\"\"\"\"'=1\""},
        TCase{"a;b=1", "\"a;b=1\""}, TCase{"a;\"b\"=1", "\"a;\"\"b\"\"=1\""},
        TCase{";\"=1", "\";\"\"'=1\""}, TCase{"a; =1", "\"a; =1\""}, TCase{"a,=1", "\"a,=1\""},
        TCase{"\"=1", "\"\"\"=1\""}, TCase{"\t=1", "\"'\t'=1\""},
        TCase{"\xEF\xBC\x9D\x31", "'\xEF\xBC\x9D\x31"},
        TCase{"a;\xEF\xBC\x8B\x31", "\"a;'\xEF\xBC\x8B\x31\""},
        TCase{"\xEF\xBC\x8D", "'\xEF\xBC\x8D"}, TCase{"\xEF\xBC\xA0", "'\xEF\xBC\xA0"},
        TCase{"\xEF\xBC\x9E", "\xEF\xBC\x9E"}}) {
    EXPECT_EQ(CsvField(test.text, ECsvTexts::kSafe), test.safe);
  }
  EXPECT_EQ(CsvField("a;=1", ECsvTexts::kRaw), "\"a;=1\"");
}

TEST(UtcTime, ReadsBack) {
  EXPECT_EQ(UtcTime(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(UtcTime(1814313600), "2027-06-30T00:00:00Z");
  EXPECT_EQ(SecondsOfUtcTime("2027-06-30T00:00:00Z"), 1814313600);
  EXPECT_EQ(SecondsOfUtcTime("1969-12-31T23:59:59Z"), -1);
  EXPECT_EQ(UtcTime(-1), "1969-12-31T23:59:59Z");
}

TEST(UtcTime, HasTheBoundsOfItsForm) {
  constexpr std::int64_t kFirst = -62167219200;
  constexpr std::int64_t kLast = 253402300799;
  EXPECT_EQ(UtcTime(kFirst), "0000-01-01T00:00:00Z");
  EXPECT_EQ(UtcTime(kLast), "9999-12-31T23:59:59Z");
  EXPECT_EQ(SecondsOfUtcTime("0000-01-01T00:00:00Z"), kFirst);
  EXPECT_EQ(SecondsOfUtcTime("9999-12-31T23:59:59Z"), kLast);
  using TLimits = std::numeric_limits<std::int64_t>;
  for (const std::int64_t before : {kFirst - 1, TLimits::min()}) {
    EXPECT_EQ(UtcTime(before), UtcTime(kFirst));
  }
  for (const std::int64_t after : {kLast + 1, TLimits::max()}) {
    EXPECT_EQ(UtcTime(after), UtcTime(kLast));
  }
  for (const std::int64_t seconds : {std::int64_t{1} << 31, (std::int64_t{1} << 31) - 1,
                                     std::int64_t{1} << 32, (std::int64_t{1} << 32) + 7}) {
    EXPECT_EQ(SecondsOfUtcTime(UtcTime(seconds)), seconds);
  }
}

TEST(UtcTime, IsOneOfTheCalendarAndTheClock) {
  for (const char* const text :
       {"2028-02-29T00:00:00Z", "2000-02-29T00:00:00Z", "2027-06-30T23:59:59Z",
        "2027-01-31T00:00:00Z", "2027-12-01T00:00:00Z"}) {
    ASSERT_TRUE(SecondsOfUtcTime(text)) << text;
    EXPECT_EQ(UtcTime(*SecondsOfUtcTime(text)), text);
  }
  EXPECT_EQ(SecondsOfUtcTime("2027-06-30T23:59:60Z"), SecondsOfUtcTime("2027-07-01T00:00:00Z"));
  for (const char* const text :
       {"2027-02-29T00:00:00Z", "2028-02-30T00:00:00Z", "2100-02-29T00:00:00Z",
        "2027-06-31T00:00:00Z", "2027-13-01T00:00:00Z", "2027-00-01T00:00:00Z",
        "2027-06-00T00:00:00Z", "2027-06-30T24:00:00Z", "2027-06-30T00:60:00Z",
        "2027-06-30T00:00:61Z", "2027-06-30 00:00:00Z", "2027-06-30T00:00:00z",
        "2027-06-30T00:00:00", "2027-06-30T00:00:00Z ", "+027-06-30T00:00:00Z",
        "12027-06-30T00:00:00Z", "2027-06-3 T00:00:00Z", "yesterday", ""}) {
    EXPECT_FALSE(SecondsOfUtcTime(text)) << text;
  }
}

TEST(Age, IsRoundedDown) {
  constexpr std::int64_t kYear = 365 * 86400;
  struct TCase {
    std::int64_t seconds;
    std::string_view text;
  };
  for (const TCase& test :
       {TCase{std::numeric_limits<std::int64_t>::min(), "less than a minute"},
        TCase{-kYear, "less than a minute"}, TCase{0, "less than a minute"},
        TCase{59, "less than a minute"}, TCase{60, "1 minute"}, TCase{119, "1 minute"},
        TCase{120, "2 minutes"}, TCase{3599, "59 minutes"}, TCase{3600, "1 hour"},
        TCase{86399, "23 hours"}, TCase{86400, "1 day"}, TCase{3 * 86400 - 1, "2 days"},
        TCase{3 * 86400, "3 days"}, TCase{kYear - 1, "364 days"}, TCase{kYear, "1 year"},
        TCase{2 * kYear - 1, "1 year"}, TCase{2 * kYear, "2 years"}}) {
    EXPECT_EQ(Age(test.seconds), test.text) << test.seconds;
  }
}

}  // namespace
}  // namespace svc::report
