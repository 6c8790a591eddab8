#include "report/text.h"

#include <gtest/gtest.h>

#include <string_view>

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

TEST(PlainLine, HoldsNoControlCharacters) {
  const std::string mark(kMark);
  EXPECT_EQ(PlainLine("a\033[31mb\n"), "a" + mark + "[31mb" + mark);
  EXPECT_EQ(PlainLine("a\xE2\x80\xAE"
                      "b"),
            "a" + mark + "b");
}

TEST(DisplayWidth, CountsColumns) {
  EXPECT_EQ(DisplayWidth("abc"), 3u);
  EXPECT_EQ(DisplayWidth("版本"), 4u);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1u);
  EXPECT_EQ(DisplayWidth("\xFF"), 1u);
}

TEST(CutToWidth, NeverSplitsACharacter) {
  EXPECT_EQ(CutToWidth("abcdef", 6), "abcdef");
  EXPECT_EQ(CutToWidth("abcdef", 4), "abc…");
  EXPECT_EQ(CutToWidth("版本版", 4), "版…");
}

TEST(JsonString, EscapesWhatJsonDemands) {
  EXPECT_EQ(JsonString("a\"b\\c\n\x01"), R"("a\"b\\c\n\u0001")");
  EXPECT_EQ(JsonString("\xC3 \xE2\x82"),
            "\"" + std::string(kMark) + " " + std::string(kMark) + "\"");
  EXPECT_EQ(JsonString("\b\t\f\r\v"), R"("\b\t\f\r\u000b")");
  EXPECT_EQ(JsonString(std::string_view("\0", 1)), R"("\u0000")");
}

TEST(XmlText, EscapesMarkup) {
  EXPECT_EQ(XmlText("<a b=\"c\">&\x01"), "&lt;a b=&quot;c&quot;&gt;&amp;" + std::string(kMark));
}

TEST(CsvField, QuotesWhereItMust) {
  EXPECT_EQ(CsvField("plain"), "plain");
  EXPECT_EQ(CsvField("a,b"), "\"a,b\"");
  EXPECT_EQ(CsvField("a\"b"), "\"a\"\"b\"");
  EXPECT_EQ(CsvField("1.00 (A) "), "\"1.00 (A) \"");
}

TEST(UtcTime, ReadsBack) {
  EXPECT_EQ(UtcTime(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(UtcTime(1814313600), "2027-06-30T00:00:00Z");
  EXPECT_EQ(SecondsOfUtcTime("2027-06-30T00:00:00Z"), 1814313600);
  EXPECT_EQ(SecondsOfUtcTime("2027-02-30T00:00:00Z"), -1);
  EXPECT_EQ(SecondsOfUtcTime("2027-06-30 00:00:00Z"), -1);
  EXPECT_EQ(SecondsOfUtcTime("yesterday"), -1);
}

TEST(Age, IsRounded) {
  EXPECT_EQ(Age(59), "less than a minute");
  EXPECT_EQ(Age(86400), "1 day");
  EXPECT_EQ(Age(3 * 86400 + 5), "3 days");
}

}  // namespace
}  // namespace svc::report
