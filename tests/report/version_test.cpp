#include "report/version.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <ostream>
#include <set>
#include <string>
#include <string_view>

namespace svc::report {
namespace {

struct TCase {
  std::string_view left;
  char order;  // '<', '=', '>' or '?' for none.
  std::string_view right;
};

std::ostream& operator<<(std::ostream& out, const TCase& test) {
  return out << '"' << test.left << "\" " << test.order << " \"" << test.right << '"';
}

char Symbol(TVersionOrder order) {
  if (!order) return '?';
  return *order < 0 ? '<' : *order > 0 ? '>' : '=';
}

char Mirror(char order) { return order == '<' ? '>' : order == '>' ? '<' : order; }

class VersionOrder : public testing::TestWithParam<TCase> {};

TEST_P(VersionOrder, HoldsInBothDirections) {
  const TCase& test = GetParam();
  EXPECT_EQ(Symbol(CompareVersions(test.left, test.right)), test.order);
  EXPECT_EQ(Symbol(CompareVersions(test.right, test.left)), Mirror(test.order));
}

INSTANTIATE_TEST_SUITE_P(
    NumbersByValue, VersionOrder,
    testing::Values(TCase{"1.2", '<', "1.10"}, TCase{"1.02", '=', "1.2"}, TCase{"1.9.9", '<', "2"},
                    TCase{"8.9.1.0", '<', "8.9.2.0"}, TCase{"7.0.1-0030", '<', "7.0.1-0056"},
                    TCase{"1.26.84", '<', "1.27.82"}, TCase{"4.6.4", '>', "4.4.1"},
                    TCase{"99999999999999999999998", '<', "99999999999999999999999"},
                    TCase{"9", '<', "99999999999999999999999"}, TCase{"5", '<', "6"}));

INSTANTIATE_TEST_SUITE_P(ZerosAtAnEnd, VersionOrder,
                         testing::Values(TCase{"1.2", '=', "1.2.0"}, TCase{"1", '=', "1.0.0.0"},
                                         TCase{"1.2", '<', "1.2.0.1"}, TCase{"1.2.0", '<', "1.2a"},
                                         TCase{"0", '=', "0.0"}));

INSTANTIATE_TEST_SUITE_P(SeparatorsOnlySeparate, VersionOrder,
                         testing::Values(TCase{"1.2-3", '=', "1.2.3"}, TCase{"1_2", '<', "1.3"},
                                         TCase{" 1.2 ", '=', "1.2"}, TCase{"v1.2", '=', "1.2"},
                                         TCase{"V1.2", '<', "1.3"}, TCase{" v1.2", '=', "1.2"}));

INSTANTIATE_TEST_SUITE_P(Letters, VersionOrder,
                         testing::Values(TCase{"1.2a", '<', "1.2b"}, TCase{"1.2A", '=', "1.2a"},
                                         TCase{"1.2", '<', "1.2a"}, TCase{"1.2rc1", '<', "1.2rc2"},
                                         TCase{"7.3.21-k8-NAPI", '<', "7.3.22-k8-NAPI"},
                                         TCase{"2.1.5-k", '<', "2.1.6-k"},
                                         TCase{"fdcp-1.10", '<', "fdcp-1.10x"},
                                         TCase{"fdcp-1.9", '<', "fdcp-1.10"},
                                         TCase{"1.2beta", '<', "1.2rc"}));

INSTANTIATE_TEST_SUITE_P(
    NeverAGuess, VersionOrder,
    testing::Values(TCase{"1.2rc1", '?', "1.2"}, TCase{"1.2~1", '?', "1.2"},
                    TCase{"1.2.a", '?', "1.2.3"}, TCase{"rhel6", '?', "sles11"},
                    TCase{"release", '?', "final"}, TCase{"", '?', "1"}, TCase{"n/a", '?', "1.0"},
                    TCase{"533BB7E5866E52F63B9ACCB", '?', "8AF1E92E32A8D3D4CC6A6F1"},
                    TCase{"fdcp-1.10", '?', "1.10"}, TCase{"1.2.rc", '?', "1.2"},
                    TCase{"1.2~0", '?', "1.2"}, TCase{"v1", '?', "va"}, TCase{"va1.2", '?', "a1.2"},
                    TCase{"vv1.2", '?', "v1.2"}));

// A letter counts as a revision where it stands alone behind its number. Elsewhere it may name a
// flavour, an alpha version or any number.
INSTANTIATE_TEST_SUITE_P(
    LettersOfOtherMeanings, VersionOrder,
    testing::Values(
        TCase{"2.1.5-k", '?', "2.1.5"}, TCase{"2.1.5-k", '?', "2.1.5-b"},
        TCase{"1.2.a", '>', "1.2"}, TCase{"1.2 a", '?', "1.2"}, TCase{"1.2-a", '?', "1.2a"},
        TCase{"1.2a1", '?', "1.2"}, TCase{"1.2a1", '<', "1.2b1"}, TCase{"1.2a1", '?', "1.2a"},
        TCase{"1.2a-1", '>', "1.2"}, TCase{"1.2a.1", '>', "1.2a"}, TCase{"1.2p1", '>', "1.2"},
        TCase{"1.2r6", '>', "1.2"}, TCase{"1.2-r1", '>', "1.2"}, TCase{"1.2-p1", '=', "1.2p1"},
        TCase{"1.2 p1", '?', "1.2"}, TCase{"1.2p1", '?', "1.2r1"}, TCase{"1.2q1", '?', "1.2"},
        TCase{"1.2p", '>', "1.2"}, TCase{"1.2z", '>', "1.2"}, TCase{"n0.9.8", '<', "n0.9.9"},
        TCase{"n0.9.8", '?', "m0.9.8"}, TCase{"p1", '?', "q1"}, TCase{"1.2p1", '?', "1.2q1"},
        TCase{"1.2p9", '<', "1.2p10"}, TCase{"4.1.x", '?', "4.1"}, TCase{"4.1.x", '?', "4.1.3"},
        TCase{"4.1x", '>', "4.1"}, TCase{"4.1.*", '?', "4.1.3"}, TCase{"4.1.*", '?', "4.1"},
        TCase{"4.1*", '?', "4.1"}, TCase{"1.2\xC3\xA9", '?', "1.2"}));

INSTANTIATE_TEST_SUITE_P(
    Words, VersionOrder,
    testing::Values(TCase{"1.2alpha", '<', "1.2beta"}, TCase{"1.2Alpha2", '<', "1.2RC1"},
                    TCase{"1.2-rc1", '=', "1.2rc1"}, TCase{"1.2hotfix", '?', "1.2rc"},
                    TCase{"1.2.rhel6", '?', "1.2.sles11"}, TCase{"1.2.rhel6", '<', "1.2.rhel7"},
                    TCase{"1.2.rhel6", '<', "1.3.sles11"}, TCase{"alpha1", '?', "beta1"}));

INSTANTIATE_TEST_SUITE_P(
    MarksThatMayBeMoreThanSeparators, VersionOrder,
    testing::Values(
        TCase{"1.2~1", '<', "1.2.3"}, TCase{"1.2~3", '?', "1.2.3"}, TCase{"1.2~4", '?', "1.2.3"},
        TCase{"1.2~1", '<', "1.2~2"}, TCase{"1.2~rc1", '?', "1.2rc2"}, TCase{"1.2~", '?', "1.2"},
        TCase{"1.2~1", '<', "1.2+2"}, TCase{"1.2~1", '?', "1.2+~2"}, TCase{"1.2+~1", '?', "1.2.3"},
        TCase{"1.2+1", '?', "1.2"}, TCase{"1.2+", '?', "1.2"}, TCase{"1.2+1", '<', "1.2+2"},
        TCase{"1.2+1", '?', "1.2.2"}, TCase{"1.2+dfsg", '?', "1.2"}, TCase{"1.2+b1", '?', "1.2"},
        TCase{"1.2+1", '<', "1.3"}, TCase{"1.2(3)", '<', "1.2(4)"}, TCase{"1.2(3)", '?', "1.2.4"},
        TCase{"1.2 (3)", '?', "1.2"}, TCase{"(1.2)", '<', "1.3"}, TCase{"1.2[3]", '?', "1.2"},
        TCase{"1.2.0", '<', "1.2-4"}, TCase{"1.2-1", '>', "1.2"}, TCase{"fw1.2", '<', "fw-1.3"}));

INSTANTIATE_TEST_SUITE_P(Epochs, VersionOrder,
                         testing::Values(TCase{"1:2.0", '<', "1:3.0"}, TCase{"1:3.0", '<', "2:1.0"},
                                         TCase{"1:2.0", '?', "3.0"}, TCase{"0:14.2", '?', "14.2"},
                                         TCase{"a:2.0", '<', "a:3.0"}, TCase{":2.0", '<', "3.0"},
                                         TCase{"1:", '<', "2"}, TCase{"1: 2", '<', "2"}));

INSTANTIATE_TEST_SUITE_P(
    Kernels, VersionOrder,
    testing::Values(TCase{"6.1.0-47-amd64", '<', "6.12.117+deb13-amd64"},
                    TCase{"6.1.0-47-amd64", '=', "6.1.0-47-amd64"},
                    TCase{"6.1.0-47-amd64", '?', "3.8.4"}, TCase{"6.1.0-47-amd64", '?', "6.1.0-47"},
                    TCase{"5.14.0-70.el9.x86_64", '<', "5.14.0-362.el9.x86_64"},
                    TCase{"5.14.0-70.el9.x86_64", '?', "6.2"},
                    TCase{"5.15.0-91-generic", '?', "7.0"}, TCase{"5.14.21-default", '?', "6.0"},
                    TCase{"5.15.0-91generic", '<', "7.0"}, TCase{"5.15.0.amd64", '<', "7.0"},
                    TCase{"5-amd64", '<', "7.0"}, TCase{"5.15-amd64", '?', "7.0"},
                    TCase{"amd64", '?', "7.0"}, TCase{"-amd64", '?', "7.0"}));

INSTANTIATE_TEST_SUITE_P(
    Hexadecimal, VersionOrder,
    testing::Values(
        TCase{"0x2b000461", '<', "0x2b0004d0"}, TCase{"0x2b", '<', "0xa0"},
        TCase{"0XFF", '=', "0x00ff"}, TCase{"0xff", '<', "0x100"}, TCase{"0x10", '?', "16"},
        TCase{"0x10", '?', "10"}, TCase{"0x2b000461", '?', "2b0004d0"}, TCase{"0x1g", '?', "0x1f"},
        TCase{"0x", '?', "0x1"}, TCase{"6.01 0x9", '<', "6.01 0xa"}, TCase{"6.01 0x9", '?', "6.01"},
        TCase{"6.01 0x9", '<', "6.02 0x1"}, TCase{"1.0x2", '<', "1.1"},
        TCase{"06.2c.00.00", '<', "06.30.00.00"}, TCase{"06.2c.00.00", '<', "06.2d.00.00"},
        TCase{"06.0a.00.00", '?', "06.09.00.00"}, TCase{"06.1a.00.00", '?', "06.10.00.00"},
        TCase{"06.2c.00.00", '?', "6.28.00"}, TCase{"06.2c.00.00", '?', "7.0"},
        TCase{"06.28.00.00", '=', "6.28.00"}, TCase{"06.2c.00.000", '<', "06.30.00.00"}));

INSTANTIATE_TEST_SUITE_P(
    Dates, VersionOrder,
    testing::Values(
        TCase{"2024-01-31", '<', "2024-02-01"}, TCase{"2024-1-31", '=', "2024-01-31"},
        TCase{"20240131", '<', "20240201"}, TCase{"20240131", '?', "2024-02-01"},
        TCase{"20240131", '?', "2024.2"}, TCase{"20240131", '?', "7"},
        TCase{"20240131", '<', "20240132"}, TCase{"20240132", '>', "7"},
        TCase{"20241301", '>', "7"}, TCase{"20241231", '?', "7"}, TCase{"20240100", '>', "7"},
        TCase{"19891231", '>', "7"}, TCase{"19900101", '?', "7"}, TCase{"20991231", '?', "7"},
        TCase{"21000101", '>', "7"}, TCase{"1.2-20240131", '?', "1.2"},
        TCase{"1.2.20240131", '?', "1.2.3"}, TCase{"1.2-20240131", '<', "1.3"},
        TCase{"01/31/2024", '>', "12/01/2023"}, TCase{"1/2/2024", '<', "1/10/2024"},
        TCase{"31/01/2024", '?', "12/01/2023"}, TCase{"01/31/24", '?', "01/30/24"},
        TCase{"1/2", '<', "1/3"}, TCase{"1.01/31/2024", '<', "1.02/01/2023"},
        TCase{"1.2 01/31/2024", '>', "1.2 12/01/2023"}, TCase{"01-31-2024", '?', "12-01-2023"},
        TCase{"13-01-2024", '<', "14-01-2024"}, TCase{"01-13-2024", '<', "01-14-2024"},
        TCase{"13-01-2024", '?', "01-14-2024"}, TCase{"13-01-2024", '?', "12-02-2024"},
        TCase{"02-03-2024", '<', "02-05-2024"}, TCase{"02-03-2024", '?', "03-02-2023"},
        TCase{"1-2-2024", '=', "01-02-2024"}, TCase{"1-2-24", '<', "1-3-23"},
        TCase{"1-2-24", '<', "2-1-24"}, TCase{"30/01/2024", '<', "31/01/2024"},
        TCase{"31/01/2024", '?', "30/02/2024"}, TCase{"9/2/3/2024", '<', "9/12/1/2023"},
        TCase{"1.2 (01/31/2024)", '>', "1.2 (12/01/2023)"},
        TCase{"1.2 [01/31/2024]", '>', "1.2 [12/01/2023]"},
        TCase{"01/31/2024 7", '>', "12/01/2023 7"}, TCase{"01/31/2024-7", '<', "12/01/2023-7"},
        TCase{"1.2 (01-31-2024)", '?', "1.2 (12-01-2023)"},
        TCase{"1.2 [01-31-2024]", '?', "1.2 [12-01-2023]"},
        TCase{"1.2 01-31-2024", '?', "1.2 12-01-2023"}, TCase{"1.2-3-1-2024", '<', "1.2-3-2-2023"},
        TCase{"1-2-2024-1", '<', "1-2-2024-2"}, TCase{"45-46-2024", '<', "46-46-2024"},
        TCase{"22-Dec-2011", '<', "11-Nov-2013"}, TCase{"22-Dec-2011", '=', "Dec 22 2011"},
        TCase{"04Jul2016", '<', "3 August 2016"}, TCase{"Dec  2, 2011", '<', "Jan 1 2012"},
        TCase{"0.29 04Jul2016", '>', "0.29 12Dec2015"}, TCase{"0.29 04Jul2016", '?', "0.29"},
        TCase{"22-Dec-2011", '?', "2011.3"}, TCase{"22Dez2011", '<', "23Dez2010"},
        TCase{"22-De-2011", '<', "23-De-2010"}, TCase{"22Nov2011a", '<', "23Nov2010a"},
        TCase{"32-Dec-2011", '<', "33-Dec-2010"}, TCase{"31.01.2024", '?', "15.02.2024"},
        TCase{"15.02.2024", '<', "16.02.2024"}, TCase{"2.10.2024", '?', "3.9.2024"},
        TCase{"2.10.2024", '<', "2.10.2025"}, TCase{"31.01.2024", '?', "01.31.2024"},
        TCase{"14.0.2019", '<', "15.0.2017"}, TCase{"31.01.2024", '>', "14.2"}));

INSTANTIATE_TEST_SUITE_P(
    Hashes, VersionOrder,
    testing::Values(
        TCase{"2b000461", '?', "2b0004d0"}, TCase{"c47d693", '?', "c8d6880"},
        TCase{"2b0046", '>', "2b0045"}, TCase{"2b00461", '?', "2b00462"},
        TCase{"1234567a", '<', "1234568"}, TCase{"20240131a", '<', "20240131b"},
        TCase{"1.2-g1234567", '?', "1.2-g2234567"}, TCase{"1.2-g123456", '<', "1.2-g223456"},
        TCase{"1.2-5-gc47d693", '<', "1.2-6-g0"}, TCase{"1.2.gitc47d693", '?', "1.2.gitd8d6880"},
        TCase{"1.2.gita123456", '?', "1.2.gita223456"},
        TCase{"1.2.git20240131", '<', "1.2.git20240201"}, TCase{"1.2-c47d693", '?', "1.2"},
        TCase{"1.2-c47d693", '=', "1.2.C47D693"}, TCase{"X-ABCD12A", '<', "X-ABCD13A"}));

// A checksum is one from twelve hexadecimal digits on, letters among them, where letters and digits
// take turns from seven on; what is shorter, all digits or no hexadecimal is a version.
INSTANTIATE_TEST_SUITE_P(Checksums, VersionOrder,
                         testing::Values(TCase{"1a2b3c", '<', "2a2b3c"},
                                         TCase{"1a2b3c4", '?', "2a2b3c4"},
                                         TCase{"1a2b3c4d5e6", '?', "2a2b3c4d5e6"},
                                         TCase{"1234567890a", '<', "2234567890a"},
                                         TCase{"12345678901a", '?', "22345678901a"},
                                         TCase{"1a2b3c4d5e6f", '?', "2a2b3c4d5e6f"},
                                         TCase{"1a2b3c4d5e6f7", '?', "2a2b3c4d5e6f7"},
                                         TCase{"1a2b3c4d5e6f", '?', "2"},
                                         TCase{"1a2b3c4d5e6g", '<', "2a2b3c4d5e6g"},
                                         TCase{"200811260102", '<', "200811260103"},
                                         TCase{"1A2B3C4D5E6F", '=', "1a2b3c4d5e6f"}));

INSTANTIATE_TEST_SUITE_P(
    NumbersBeyondAnyType, VersionOrder,
    testing::Values(TCase{"2147483647", '<', "2147483648"}, TCase{"4294967295", '<', "4294967296"},
                    TCase{"4294967297", '>', "1"},
                    TCase{"9223372036854775807", '<', "9223372036854775808"},
                    TCase{"18446744073709551615", '<', "18446744073709551616"},
                    TCase{"18446744073709551617", '>', "1"},
                    TCase{"000018446744073709551617", '=', "18446744073709551617"}));

INSTANTIATE_TEST_SUITE_P(
    BuildIds, VersionOrder,
    testing::Values(TCase{"YUOO83C", '<', "YUOO99A"}, TCase{"YUOO99A", '<', "YUOO99B"},
                    TCase{"yuoo99a", '=', "YUOO99A"}, TCase{"QKL120A", '<', "QKL210A"},
                    TCase{"D6EL35AUS", '<', "D6EL36AUS"}, TCase{"YUOO99A", '?', "ABCD99A"},
                    TCase{"D6EL35A", '?', "D7EL35A"}, TCase{"1AOO70A", '?', "1BOO71A"},
                    TCase{"YUOO99A", '?', "1.10"}, TCase{"1AOO70A", '?', "2.0"},
                    TCase{"YUE110B", '<', "YUE112A"}, TCase{" YUE110B\t", '<', "YUE112A"},
                    TCase{"QKL120A", '?', "QKLM20A"}, TCase{"YUOO99A", '?', "YUOO99AUS"},
                    TCase{"YUOO99AUS", '<', "YUOO99B"}, TCase{"YUOO99AUS", '<', "YUOO99BUS"},
                    TCase{"YUOO99AUS", '?', "YUOO99AUK"}, TCase{"YUOO99AUS", '<', "YUOO100B"},
                    TCase{"YUOO99AA", '<', "YUOO99AB"}, TCase{"YUOO99AA", '?', "YUOO99B"},
                    TCase{"YUOO99AB", '?', "YUOO99BUS"}, TCase{"YUOO099A", '=', "YUOO99A"}));

TEST(BuildId, HasSeriesNumberAndRevision) {
  for (const std::string_view id :
       {"YUOO99A", "QKL120A", "D6EL35AUS", "1AOO70A", "dsyt89o", "AB99A", "ABCDE99A", "AB999A",
        "AB99ABC", "12AB99A", "A1B299ABC"}) {
    EXPECT_TRUE(IsBuildId(id)) << id;
  }
  for (const std::string_view text :
       {"",       "1.10",    "YUOO",     "YUOO99",    "99A",  "YUOO9A",   "fdcp-1.10", "20081126",
        "A1",     "1.2a",    "A99A",     "ABCDEF99A", "AB9A", "ABC9999A", "AB99",      "AB99ABCD",
        "AB99A1", "123B99A", "12AB999A", "12AB9A",    "12A",  "1-AB99A"}) {
    EXPECT_FALSE(IsBuildId(text)) << text;
  }
}

struct TWhy {
  std::string_view left, right;
  EUnordered why;
};

TEST(VersionsWithoutAnOrder, TellWhy) {
  using enum EUnordered;
  for (const TWhy& test : std::initializer_list<TWhy>{{"YUOO99A", "1.10", kForms},
                                                      {"1.2.a", "1.2.3", kForms},
                                                      {"1:2.0", "3.0", kForms},
                                                      {"0x10", "16", kForms},
                                                      {"YUOO99A", "ABCD99A", kSeries},
                                                      {"YUOO99A", "YUOO99AUS", kSeries},
                                                      {"release", "final", kWords},
                                                      {"1.2.rhel6", "1.2.sles6", kWords},
                                                      {"fdcp-1.10", "asfipmi-1.10", kWords},
                                                      {"1.2rc1", "1.2", kAddition},
                                                      {"1.2~1", "1.2", kAddition},
                                                      {"1.2+1", "1.2.1", kAddition},
                                                      {"31/01/2024", "01/31/2024", kDates},
                                                      {"20240131", "7", kDates},
                                                      {"31.01.2024", "15.02.2024", kDates},
                                                      {"c47d693", "c8d6880", kHash},
                                                      {"06.0a.00.00", "06.09.00.00", kHash}}) {
    for (const bool mirrored : {false, true}) {
      const TVersionOrder order = mirrored ? CompareVersions(test.right, test.left)
                                           : CompareVersions(test.left, test.right);
      ASSERT_FALSE(order) << test.left << ' ' << test.right;
      EXPECT_EQ(TextOf(order.Why()), TextOf(test.why)) << test.left << ' ' << test.right;
    }
  }
}

TEST(ReasonsOfNoOrder, EachHasItsOwnText) {
  std::set<std::string_view> texts;
  const auto count = static_cast<std::size_t>(EUnordered::kHash) + 1;
  for (std::size_t why = 0; why < count; ++why) texts.insert(TextOf(EUnordered(why)));
  EXPECT_EQ(texts.size(), count);
  EXPECT_EQ(texts.count(""), 0U);
}

TEST(ReasonsOfNoOrder, AreKnownAgainByTheirTextsAlone) {
  for (std::size_t why = 0; why < kUnorderedTexts.size(); ++why) {
    EXPECT_EQ(UnorderedOfText(kUnorderedTexts[why]), EUnordered(why));
  }
  for (const char* const text : {"", "the texts are of different form", "The dates in them"}) {
    EXPECT_EQ(UnorderedOfText(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace svc::report
