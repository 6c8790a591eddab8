#include "report/waivers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>

#include "base/error.h"
#include "report/text.h"
#include "sample_report.h"

namespace svc::report {
namespace {

constexpr std::string_view kFile = R"(# Accepted until the next window.
[[waiver]]
type = "Firmware"
name = "system *"   # BIOS and UEFI
offered = 'YUE1??A'
reason = "The \"old\" tools need it.\tSee #17."
expires = 2027-06-30

[[waiver]]
name = '*'
reason = "grün"
)";

TEST(Waivers, AreReadFromTheirFile) {
  const auto waivers = ParseWaivers(kFile);
  ASSERT_EQ(waivers.size(), 2u);
  EXPECT_EQ(waivers[0].type, "Firmware");
  EXPECT_EQ(waivers[0].name, "system *");
  EXPECT_EQ(waivers[0].offered, "YUE1??A");
  EXPECT_EQ(waivers[0].acceptance.reason, "The \"old\" tools need it.\tSee #17.");
  EXPECT_EQ(waivers[0].acceptance.expires, "2027-06-30");
  EXPECT_EQ(waivers[0].line, 2u);
  EXPECT_EQ(waivers[1].type + waivers[1].offered + waivers[1].acceptance.expires, "");
  EXPECT_EQ(waivers[1].line, 9u);
  EXPECT_TRUE(ParseWaivers("").empty());
  EXPECT_EQ(ParseWaivers("\xEF\xBB\xBF[[waiver]]\r\nname=\"a\\u00fc\"\r\nreason='b'").size(), 1u);
}

struct TBroken {
  std::string_view text;
  int line;
  std::string_view word;
};

std::ostream& operator<<(std::ostream& out, const TBroken& test) { return out << test.text; }

class BrokenWaivers : public testing::TestWithParam<TBroken> {};

TEST_P(BrokenWaivers, AreRefusedWithTheirLine) {
  try {
    ParseWaivers(GetParam().text);
    FAIL() << "was read";
  } catch (const TError& error) {
    EXPECT_EQ(error.Number(), GetParam().line) << error.what();
    EXPECT_NE(std::string_view(error.what()).find(GetParam().word), std::string_view::npos)
        << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, BrokenWaivers,
    testing::Values(
        TBroken{"[[waiver]]\nnane = 'x'\n", 2, "\"nane\""},
        TBroken{"\nname = 'x'\n", 2, "before the first"}, TBroken{"[waiver]\n", 1, "[[waiver]]"},
        TBroken{"[[waivers]]\n", 1, "[[waiver]]"}, TBroken{"[ [waiver]]\n", 1, "[[waiver]]"},
        TBroken{"[[waiver]] x\n", 1, "\"x\""}, TBroken{"[[waiver]]\nname 'x'\n", 2, "write"},
        TBroken{"[[waiver]]\nname = x\n", 2, "quotation marks"},
        TBroken{"[[waiver]]\nname = 'x\n", 2, "closing"},
        TBroken{"[[waiver]]\nname = \"x\n", 2, "closing"},
        TBroken{"[[waiver]]\nname = \"\"\"x\"\"\"\n", 2, "single"},
        TBroken{"[[waiver]]\nname = \"\\x\"\n", 2, "backslash"},
        TBroken{"[[waiver]]\nname = \"\\ud800\"\n", 2, "no such character"},
        TBroken{"[[waiver]]\nname = \"\\udfff\"\n", 2, "no such character"},
        TBroken{"[[waiver]]\nname = \"\\U00110000\"\n", 2, "no such character"},
        TBroken{"[[waiver]]\nname = \"\\U80000041\"\n", 2, "no such character"},
        TBroken{"[[waiver]]\nname = \"\\UFFFFFFFF\"\n", 2, "no such character"},
        TBroken{"[[waiver]]\nname = \"\\u12\"\n", 2, "hexadecimal"},
        TBroken{"[[waiver]]\nname = \"\\u004g\"\n", 2, "4 hexadecimal"},
        TBroken{"[[waiver]]\nname = \"\\U0000004\"\n", 2, "8 hexadecimal"},
        TBroken{"[[waiver]]\nname = \"\\", 2, "backslash"},
        TBroken{"[[waiver]]\nname = 'x'\nname = 'y'\n", 3, "twice"},
        TBroken{"[[waiver]]\nname = ' '\n", 2, "empty"},
        TBroken{"[[waiver]]\nname = 'x' 'y'\n", 2, "behind"},
        TBroken{"[[waiver]]\nreason = 'x'\n", 1, "no name"},
        TBroken{"[[waiver]]\nname = 'x'\n\n[[waiver]]\nname = 'y'\nreason = 'z'\n", 1, "no reason"},
        TBroken{"[[waiver]]\nexpires = 2027-02-30\n", 2, "2027-02-30"},
        TBroken{"[[waiver]]\nexpires = 30.06.2027\n", 2, "no date"},
        TBroken{"[[waiver]]\nexpires = 'soon'\n", 2, "no date"},
        TBroken{"[[waiver]]\nexpires = 2027-06-30 10:00\n", 2, "behind"},
        TBroken{"# \x01\n", 1, "control"}, TBroken{"# \xFF\n", 1, "UTF-8"},
        TBroken{"# \x1F\n", 1, "control"}, TBroken{"# \x7F\n", 1, "control"},
        TBroken{"[[waiver]]\nname = 'x'\rreason = 'y'\n", 2, "control"}));

TEST(Waivers, TakeEveryCharacterByItsNumber) {
  struct TCase {
    std::string_view escape;
    std::string_view text;
  };
  for (const TCase& test :
       {TCase{"\\u007f", "\x7F"}, TCase{"\\u0080", "\xC2\x80"}, TCase{"\\u07ff", "\xDF\xBF"},
        TCase{"\\u0800", "\xE0\xA0\x80"}, TCase{"\\u20ac", "€"}, TCase{"\\u20AC", "€"},
        TCase{"\\ud7ff", "\xED\x9F\xBF"}, TCase{"\\ue000", "\xEE\x80\x80"},
        TCase{"\\uffff", "\xEF\xBF\xBF"}, TCase{"\\U00010000", "\xF0\x90\x80\x80"},
        TCase{"\\U0001F600", "😀"}, TCase{"\\U0010ffff", "\xF4\x8F\xBF\xBF"},
        TCase{R"(\b\t\n\f\r\"\\)", "\b\t\n\f\r\"\\"}}) {
    const std::string file =
        "[[waiver]]\nname = 'x'\nreason = \"<" + std::string(test.escape) + ">\"";
    EXPECT_EQ(ParseWaivers(file).at(0).acceptance.reason, "<" + std::string(test.text) + ">");
  }
}

TEST(Waivers, TakeTextsBetweenSingleQuotesAsTheyAre) {
  const auto waivers =
      ParseWaivers("\t[[ waiver ]] # one\n name='a\\nb\\u0041' # b\nreason = '\"'#\n");
  EXPECT_EQ(waivers.at(0).name, "a\\nb\\u0041");
  EXPECT_EQ(waivers.at(0).acceptance.reason, "\"");
}

std::string ExpiryOf(const std::string& day) {
  return ParseWaivers("[[waiver]]\nname = 'x'\nreason = 'y'\nexpires = " + day + "\n")
      .at(0)
      .acceptance.expires;
}

TEST(Waivers, EndOnADayOfTheCalendar) {
  for (const char* const day :
       {"2027-01-01", "2027-01-31", "2027-02-28", "2028-02-29", "2000-02-29", "2027-04-30",
        "2027-12-31", "0000-01-01", "9999-12-31"}) {
    EXPECT_EQ(ExpiryOf(day), day);
    EXPECT_EQ(ExpiryOf("\"" + std::string(day) + "\" # in quotes"), day);
  }
  for (const char* const day :
       {"2027-02-29", "2028-02-30", "2100-02-29", "2027-04-31", "2027-12-32", "2027-13-01",
        "2027-00-01", "2027-01-00", "10000-01-01", "2027-1-1", "02027-01-01", "2147483648-01-01",
        "4294969323-01-01", "18446744073709553643-01-01", "2027-01-01T00:00:00Z", "-2027-01-01"}) {
    EXPECT_THROW(ExpiryOf(day), TError) << day;
  }
}

TEST(Waivers, TheirLastDayIsOneOfUtc) {
  struct TCase {
    const char* day;
    const char* lastSecond;
  };
  for (const TCase& test :
       {TCase{"2028-02-29", "2028-02-29T23:59:59Z"}, TCase{"2027-12-31", "2027-12-31T23:59:59Z"},
        TCase{"1969-12-31", "1969-12-31T23:59:59Z"}, TCase{"0000-01-01", "0000-01-01T23:59:59Z"}}) {
    TWaiver waiver;
    waiver.acceptance.expires = test.day;
    const std::int64_t last = SecondsOfUtcTime(test.lastSecond).value();
    EXPECT_FALSE(HasExpired(waiver, last - 86400)) << test.day;
    EXPECT_FALSE(HasExpired(waiver, last)) << test.day;
    EXPECT_TRUE(HasExpired(waiver, last + 1)) << test.day;
  }
  TWaiver endless;
  EXPECT_FALSE(HasExpired(endless, std::numeric_limits<std::int64_t>::max()));
}

std::string Waiver(const std::string& keys) { return "[[waiver]]\nreason = 'r'\n" + keys + '\n'; }

TEST(Waivers, MayHaveAThousandPatternsAndAnyNumberOfWholeNames) {
  std::string file;
  for (std::size_t i = 0; i < kMostPatterns; ++i) {
    file += Waiver(i % 2 == 0 ? "name = 'a*'" : "name = 'a'\noffered = '?'");
    file += Waiver("name = 'whole " + std::to_string(i) + "'\noffered = 'v'");
  }
  EXPECT_EQ(ParseWaivers(file).size(), 2 * kMostPatterns);
  try {
    ParseWaivers(file + Waiver("name = 'one more'") + Waiver("name = 'and one m?re'"));
    FAIL() << "was read";
  } catch (const TError& error) {
    // Those before it have three lines each, and every second one of a pair a fourth one.
    EXPECT_EQ(error.Number(), 3 * 500 + 4 * 500 + 4 * 1000 + 3 + 1);
    EXPECT_NE(std::string_view(error.what()).find("more than 1000"), std::string_view::npos);
  }
}

TEST(Waivers, NameWhatTheyAreForInUpToAThousandBytes) {
  for (const std::string key : {"name", "offered"}) {
    for (const std::string end : {"*", "?", "a"}) {
      const std::string longest = std::string(999, 'a') + end;
      const std::string begin = (key == "name" ? "" : "name = 'a'\n") + key + " = '";
      EXPECT_EQ(ParseWaivers(Waiver(begin + longest + "'")).size(), 1U);
      try {
        ParseWaivers(Waiver(begin + "a" + longest + "'"));
        FAIL() << key << " was read";
      } catch (const TError& error) {
        EXPECT_EQ(std::string(error.what()),
                  key + " is longer than 1000 bytes; write * for a part of it");
      }
    }
  }
}

// Which waiver counts, by the reasons that are letters: of those that hold the first, otherwise of
// those that have expired the last, whether they have wildcards or not.
TEST(Waivers, CountInTheOrderOfTheirFile) {
  struct TKind {
    std::string keys;
    bool isFor = true;
  };
  const std::vector<TKind> kinds = {{"name = 'Watch'"},
                                    {"name = 'w*'"},
                                    {"name = 'watch'\noffered = '1.08 (B)'"},
                                    {"name = 'watch'\noffered = '*b)'"},
                                    {"name = 'WATCH'\ntype = 'firmware'"},
                                    {"name = '*'\ntype = 'FIRMWARE'\noffered = '1.08 (b)'"},
                                    {"name = 'watch1'", false},
                                    {"name = 'watch'\noffered = '1.08 (B'", false},
                                    {"name = 'watch'\ntype = 'Driver'", false},
                                    {"name = 'w?'", false}};
  for (std::size_t seed = 0; seed < 2000; ++seed) {
    std::string file, live, expired;
    for (std::size_t i = 0, rest = seed * 2654435761U; i < 6; ++i, rest /= 20) {
      const TKind& kind = kinds[rest % 20 / 2];
      const bool isExpired = rest % 2 == 1;
      const std::string reason(1, static_cast<char>('a' + i));
      file += "[[waiver]]\nreason = '" + reason + "'\n" + kind.keys +
              (isExpired ? "\nexpires = 1999-12-31\n" : "\nexpires = 2999-12-31\n");
      if (!kind.isFor) continue;
      if (isExpired) expired = reason;
      if (!isExpired && live.empty()) live = reason;
    }
    TReport report = SampleReport();
    report.records = {{"Firmware", "Watch", "1.08 (A)", "1.08 (B)", EVerdict::kOutdated, {}}};
    ApplyWaivers(ParseWaivers(file), report);
    const TRecord& record = report.records[0];
    EXPECT_EQ(record.waived ? record.waived->reason : "", live) << file;
    EXPECT_EQ(record.expiredWaiver ? record.expiredWaiver->reason : "", live.empty() ? expired : "")
        << file;
  }
}

// The texts of the plug-in may have blanks around them, which nobody sees in a report.
TEST(Waivers, BlanksAroundATextDoNotMatter) {
  TReport report = SampleReport();
  report.records = {{" Firmware ", " Watch ", "1.08 (A) ", "1.08 (B) ", EVerdict::kOutdated, {}}};
  const auto isWaived = [&](const std::string& keys) {
    ApplyWaivers(ParseWaivers("[[waiver]]\nreason = 'r'\n" + keys), report);
    return report.records[0].waived.has_value();
  };
  EXPECT_TRUE(isWaived("name = 'watch'\noffered = '1.08 (b)'\ntype = 'FIRMWARE'"));
  EXPECT_TRUE(isWaived("name = 'w?tch'\noffered = '1.08 (?)'"));
  EXPECT_FALSE(isWaived("name = 'watch'\noffered = '1.08 (B'"));
  EXPECT_FALSE(isWaived("name = 'watch'\noffered = '1.08 (A)'"));
  EXPECT_FALSE(isWaived("name = 'watc'"));
  EXPECT_FALSE(isWaived("name = '*'\ntype = 'Firm*'")) << "a type is no pattern";
}

TEST(Waivers, MarkWhatTheyAreFor) {
  TReport report = SampleReport();
  ApplyWaivers(ParseWaivers(kFile), report);
  EXPECT_TRUE(report.hasWaivers);
  ASSERT_TRUE(report.records[0].waived);
  EXPECT_EQ(report.records[0].waived->expires, "2027-06-30");
  EXPECT_EQ(report.records[1].waived->reason, "grün");  // Its name is another.
  EXPECT_FALSE(report.records[3].waived) << "what is current needs no waiver";
  EXPECT_EQ(Summarize(report).waived, 3u);
}

TEST(Waivers, HoldUpToTheEndOfTheirLastDay) {
  const auto waivers = ParseWaivers("[[waiver]]\nname='*'\nreason='r'\nexpires=2027-06-30\n");
  TReport report = SampleReport();
  report.generated = SecondsOfUtcTime("2027-06-30T23:59:59Z").value();
  ApplyWaivers(waivers, report);
  EXPECT_EQ(Summarize(report).waived, 3u);
  EXPECT_FALSE(FailsOn(report, EFailOn::kDifferent));
  ++report.generated;
  ApplyWaivers(waivers, report);
  EXPECT_EQ(Summarize(report).waived, 0u);
  EXPECT_EQ(Summarize(report).expiredWaivers, 3u);
  EXPECT_TRUE(FailsOn(report, EFailOn::kOutdated));
}

TEST(Waivers, OneThatHoldsWinsOverOneThatHasExpired) {
  TReport report = SampleReport();
  ApplyWaivers(ParseWaivers("[[waiver]]\nname='*'\nreason='old'\nexpires=2020-01-01\n"
                            "[[waiver]]\nname='*BIOS'\nreason='new'\n"),
               report);
  EXPECT_EQ(report.records[0].waived->reason, "new");
  EXPECT_FALSE(report.records[0].expiredWaiver);
  EXPECT_FALSE(report.records[1].waived);
  EXPECT_FALSE(report.records[3].expiredWaiver) << "what is current needs no waiver";
  EXPECT_EQ(report.records[1].expiredWaiver->reason, "old");
}

TEST(Glob, StandsForCharacters) {
  struct TCase {
    std::string_view pattern;
    std::string_view text;
    bool matches;
  };
  for (const TCase& test :
       {TCase{"*", "", true}, TCase{"", "", true}, TCase{"", "a", false}, TCase{"a", "A", true},
        TCase{"a*c", "abbc", true}, TCase{"a*c", "abcb", false}, TCase{"*b*b", "abab", true},
        TCase{"?", "ü", true}, TCase{"??", "ü", false}, TCase{"*?", "", false},
        TCase{"[a]", "[a]", true}, TCase{"[a]", "a", false}, TCase{"a**", "a", true},
        TCase{"*ü?", "xüü\xFF", true}}) {
    EXPECT_EQ(MatchesGlob(test.pattern, test.text), test.matches)
        << test.pattern << " / " << test.text;
  }
  const std::string stars(200, '*');
  EXPECT_FALSE(MatchesGlob(stars + "b", std::string(20000, 'a')));
}

}  // namespace
}  // namespace svc::report
