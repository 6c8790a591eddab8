#include "report/verdict.h"

#include <gtest/gtest.h>

#include <ostream>
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

char Symbol(std::optional<std::weak_ordering> order) {
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
                                         TCase{"2.1.5-k", '>', "2.1.5"},
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

// A hash is one from twelve hexadecimal digits on, letters among them; what is shorter, all digits
// or no hexadecimal is a version.
INSTANTIATE_TEST_SUITE_P(Checksums, VersionOrder,
                         testing::Values(TCase{"1a2b3c4d5e6", '<', "2a2b3c4d5e6"},
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
                    TCase{"QKL120A", '?', "QKLM20A"}));

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

}  // namespace
}  // namespace svc::report
