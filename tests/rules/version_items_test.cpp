#include "rules/version_items.h"

#include <gtest/gtest.h>

#include "tests/support/case_name.h"

namespace svc::rules {
namespace {

struct TBracketed {
  const char* name;
  const char* text;
  const char* version;
};
void PrintTo(const TBracketed& bracketed, std::ostream* stream) { *stream << bracketed.text; }

class TBracketedVersion : public testing::TestWithParam<TBracketed> {};

TEST_P(TBracketedVersion, StandsBetweenItsMarks) {
  EXPECT_EQ(extractBracketedVersion(GetParam().text), GetParam().version);
}

constexpr TBracketed kBracketed[] = {
    {"InTheMiddle", "abc-[1.23]-xyz", "1.23"},
    {"AtTheEnd", "1.10-[QKL120A]-", "QKL120A"},
    {"Alone", "-[a]-", "a"},
    {"Nothing", "-[]-", ""},
    {"NoMarks", "QKL120A", "QKL120A"},
    {"Empty", "", ""},
    {"NoClosingMark", "1-[2", "1-[2"},
    {"NoOpeningMark", "1]-2", "1]-2"},
    {"MarksInTheWrongOrder", "x]-y-[z", "z"},
    {"ClosingMarkInsideTheOpeningOne", "]-[z", "z"},
    {"ClosingMarkRightBeforeTheOpeningOne", "]--[z]-q", "z]-q"},
    {"FirstMarksCount", "-[1]--[2]-", "1"},
    {"OpeningMarkAtTheEnd", "x]-y-[", ""},
    {"MarksWithBlanks", "- [1] -", "- [1] -"},
    {"BlanksAreKept", "-[ 1 ]-", " 1 "},
};
INSTANTIATE_TEST_SUITE_P(Texts, TBracketedVersion, testing::ValuesIn(kBracketed),
                         test::TCaseName());

TEST(LowerCase, LettersAreLoweredOneByOne) {
  EXPECT_EQ(toLowerCopy("QRX Arrayon-AX20i [\\]^"), "qrx arrayon-ax20i [\\]^");
  EXPECT_EQ(toLowerCopy(""), "");
  EXPECT_EQ(toLowerCopy("\xC4"), "\xC4");
}

struct TLookupCase {
  const char* name;
  const char* driverFiles;
  const char* key;
  bool found;
  std::optional<std::string> version;
};
void PrintTo(const TLookupCase& lookup, std::ostream* stream) {
  *stream << "\"" << lookup.key << "\" in \"" << lookup.driverFiles << "\"";
}

class TVersionOfKey : public testing::TestWithParam<TLookupCase> {};

TEST_P(TVersionOfKey, FollowsTheNextMarkUpToABlank) {
  const TKeyLookup lookup = FindVersionOfKey(GetParam().driverFiles, GetParam().key);
  EXPECT_EQ(lookup.found, GetParam().found);
  EXPECT_EQ(lookup.version, GetParam().version);
}

const TLookupCase kLookups[] = {
    {"FirstEntry", "bcm5708.bin-#4.0.3 bcm5709.bin-#5.0", "bcm5708", true, "4.0.3"},
    {"LastEntry", "bcm5708.bin-#4.0.3 bcm5709.bin-#5.0", "bcm5709", true, "5.0"},
    {"MarkOfAnotherEntry", "bcm5708.bin bcm5709.bin-#5.0", "bcm5708", true, "5.0"},
    {"NoMarkBehindTheKey", "a-#1 bcm5708.bin", "bcm5708", true, std::nullopt},
    {"EmptyVersion", "bcm5708-# x", "bcm5708", true, ""},
    {"EmptyVersionAtTheEnd", "bcm5708-#", "bcm5708", true, ""},
    {"MarkInsideTheKey", "a b-#1 c-#2", "b-#1", true, "1"},
    {"KeyInOtherCase", "BCM5708-#1", "bcm5708", false, std::nullopt},
    {"NoKey", "a-#1", "b", false, std::nullopt},
    {"EmptyKeyIsFoundAtOnce", "a-#1 b-#2", "", true, "1"},
    {"EmptyKeyInAnEmptyList", "", "", true, std::nullopt},
    {"OnlyBlanksEndAVersion", "a-#1\t2\n3,4;5 6", "a", true, "1\t2\n3,4;5"},
};
INSTANTIATE_TEST_SUITE_P(Lists, TVersionOfKey, testing::ValuesIn(kLookups), test::TCaseName());

TEST(Marked, StandsBetweenTheMarks) {
  EXPECT_EQ(Marked("4620"), "-[4620]-");
  EXPECT_EQ(Marked(""), "-[]-");
  EXPECT_EQ(extractBracketedVersion(Marked("a ]- b")), "a ");
}

using TItems = std::vector<std::string_view>;

TEST(MarkedItems, AreWhatStandsBetweenEachPairOfMarks) {
  EXPECT_EQ(MarkedItems("-[4620]-"), TItems{"4620"});
  EXPECT_EQ(MarkedItems("for -[4620]-, -[4621]- and-[4622]-"), (TItems{"4620", "4621", "4622"}));
  EXPECT_EQ(MarkedItems("-[]-"), TItems{""});
  EXPECT_EQ(MarkedItems("-[a-[b]-"), (TItems{"a-[b", "b"}));
}

TEST(MarkedItems, AreNoneWithoutAPair) {
  for (const char* const text : {"", "4620", "[4620]", "-[4620", "4620]-", "]-4620-[", "-[4620-"}) {
    EXPECT_EQ(MarkedItems(text), TItems{}) << text;
  }
}

TEST(MarkedItems, EndAtTheFirstMarkThatIsNotClosed) {
  EXPECT_EQ(MarkedItems("-[1]- -[2"), TItems{"1"});
}

TEST(FirstWord, IsTheTextBeforeABlank) {
  EXPECT_EQ(FirstWordBeforeBlank("20i sas"), "20i");
  EXPECT_EQ(FirstWordBeforeBlank(" 20i"), "");
  EXPECT_EQ(FirstWordBeforeBlank("20i"), "");
  EXPECT_EQ(FirstWordBeforeBlank(""), "");
}

}  // namespace
}  // namespace svc::rules
