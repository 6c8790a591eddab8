#include "plugins/public_firmware/catalogue.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace svc::publicfirmware {
namespace {

struct TOrdered {
  EVersionFormat format;
  std::vector<std::string> versions;  // From the oldest to the newest.
};

class VersionOrder : public testing::TestWithParam<TOrdered> {};

TEST_P(VersionOrder, HoldsForEachPairAndItsOpposite) {
  const auto& [format, versions] = GetParam();
  for (std::size_t i = 0; i < versions.size(); ++i) {
    for (std::size_t k = 0; k < versions.size(); ++k) {
      const int expected = i == k ? 0 : i < k ? -1 : 1;
      EXPECT_EQ(CompareVersions(versions[i], versions[k], format), expected)
          << versions[i] << " and " << versions[k];
    }
  }
}

using enum EVersionFormat;
INSTANTIATE_TEST_SUITE_P(
    Formats, VersionOrder,
    testing::Values(
        TOrdered{kPlain, {"", "1.10", "1.2", "10", "9", "a", "b"}},
        TOrdered{kTriplet, {"", "0.9.9", "1", "1.0~rc1", "1.0", "1.0.0", "1.2.3", "1.10.0"}},
        TOrdered{kQuad, {"1.2.3", "1.2.3.4", "1.2.3.4a", "1.2.3.4b", "1.2.3.5"}},
        TOrdered{kNumber, {"0x10", "1", "2", "10", "4294967296", "9223372036854775807"}},
        TOrdered{kHex, {"0x9", "0x10", "0xff", "0x100"}},
        TOrdered{kUnknown, {"-1", "/", ":", "A", "B", "1", "1.A", "1/", "1:", "2"}}));

TEST(VersionOrder, OfHexadecimalNumbersDoesNotAskHowTheyAreWritten) {
  EXPECT_EQ(CompareVersions("0xff", "255", kHex), 0);
  EXPECT_EQ(CompareVersions("0x000000ff", "255", kHex), 0);
  EXPECT_EQ(CompareVersions("12345678", "0xbc614e", kHex), 0);
  // A date stays as it is, which has eight digits and begins with 20.
  EXPECT_NE(CompareVersions("20150915", "0x1337a83", kHex), 0);
  EXPECT_EQ(CompareVersions("19991231", "0x1310abf", kHex), 0);
  EXPECT_EQ(CompareVersions("2015091", "0x1ebf73", kHex), 0);
  EXPECT_EQ(CompareVersions("201509150", "0xc02c91e", kHex), 0);
  EXPECT_NE(CompareVersions("0", "0x0", kHex), 0);
}

TEST(VersionOrder, OfNumbersWithASignOrABlankIsThatOfTheirValues) {
  EXPECT_EQ(CompareVersions("1. 2", "1.2", kTriplet), 0);
  EXPECT_EQ(CompareVersions("1.+2", "1.2", kTriplet), 0);
  EXPECT_EQ(CompareVersions("1.-0", "1.0", kTriplet), 0);
  EXPECT_LT(CompareVersions("1.-2", "1.-1", kTriplet), 0);
  EXPECT_LT(CompareVersions("1.-1", "1.0", kTriplet), 0);
  EXPECT_GT(CompareVersions("1.0", "1.-1", kTriplet), 0);
}

TEST(VersionOrder, TakesNumbersBeyondTheRangeForItsEnd) {
  EXPECT_EQ(CompareVersions("99999999999999999999", "9223372036854775807", kTriplet), 0);
  EXPECT_LT(CompareVersions("9223372036854775806", "99999999999999999999", kTriplet), 0);
}

TEST(VersionOrder, IsThatOfSignedCharactersBeyondAscii) {
  EXPECT_LT(CompareVersions("1\xC3\xA4", "1", kTriplet), 0);
}

// Each part of a version is compared as far as it goes itself.
TEST(VersionOrder, LooksAtNothingBehindThePartAtHand) {
  EXPECT_EQ(CompareVersions("1.0", "1-.0", kTriplet), -1);
  EXPECT_EQ(CompareVersions("1-.0", "1.0", kTriplet), 1);
  EXPECT_EQ(CompareVersions("1a.0", "1a-.0", kTriplet), -1);
  EXPECT_EQ(CompareVersions("1", "1\x01", kTriplet), -1);
  const std::string_view longer = "1a";
  EXPECT_EQ(CompareVersions(longer.substr(0, 1), "1", kTriplet), 0);
  EXPECT_EQ(CompareVersions("1", longer.substr(0, 1), kTriplet), 0);
  EXPECT_EQ(CompareVersions(longer.substr(0, 1), longer, kTriplet), -1);
  EXPECT_EQ(CompareVersions(longer, longer.substr(0, 1), kTriplet), 1);
}

struct TShown {
  EVersionFormat format;
  std::uint32_t number;
  std::string version;
};

class NumberAsVersion : public testing::TestWithParam<TShown> {};

TEST_P(NumberAsVersion, IsTakenApartByItsFormat) {
  EXPECT_EQ(VersionOfNumber(GetParam().number, GetParam().format), GetParam().version);
}

INSTANTIATE_TEST_SUITE_P(Formats, NumberAsVersion,
                         testing::Values(TShown{kPlain, 66051, "66051"},
                                         TShown{kNumber, 66051, "66051"},
                                         TShown{kPair, 0x12345678, "4660.22136"},
                                         TShown{kTriplet, 0x12345678, "18.52.22136"},
                                         TShown{kQuad, 0x12345678, "18.52.86.120"},
                                         TShown{kBcd, 0x12345678, "12.34.56.78"},
                                         TShown{kIntelMe, 0x12345678, "11.18.52.22136"},
                                         TShown{kIntelMe, 0xFFFFFFFF, "18.31.255.65535"},
                                         TShown{kIntelMe2, 0x12345678, "1.2.52.22136"},
                                         TShown{kIntelCsme19, 0x12345678, "19.18.52.22136"},
                                         TShown{kSurface, 0x12345678, "18.13398.120"},
                                         TShown{kSurfaceLegacy, 0x12345678, "72.3349.632"},
                                         TShown{kDellBios, 0x12345678, "52.86.120"},
                                         TShown{kDellBiosMsb, 0x12345678, "18.52.86"},
                                         TShown{kHex, 0x1234ABCD, "0x1234abcd"},
                                         TShown{kHex, 1, "0x00000001"}));

TEST(NumberAsVersion, IsNoneWhereTheFormatIsNotKnown) {
  EXPECT_EQ(VersionOfNumber(1, kUnknown), std::nullopt);
}

TEST(Number, IsAWholeTextOfThirtyTwoBits) {
  EXPECT_EQ(NumberOf("4294967295"), 4294967295U);
  EXPECT_EQ(NumberOf("4294967296"), std::nullopt);
  EXPECT_EQ(NumberOf("0xFFFFffff"), 4294967295U);
  EXPECT_EQ(NumberOf("0x100000000"), std::nullopt);
  for (const char* const text : {"", "0x", "1.0", "12a", "-1", "+1", " 1", "1 ", "0xg", "ff"}) {
    EXPECT_EQ(NumberOf(text), std::nullopt) << text;
  }
}

TEST(FormatName, NamesEachFormatAndNoOther) {
  for (const char* const name :
       {"plain", "number", "pair", "triplet", "quad", "bcd", "intel-me", "intel-me2",
        "intel-csme19", "surface", "surface-legacy", "dell-bios", "dell-bios-msb", "hex"}) {
    EXPECT_NE(FormatOfName(name), kUnknown);
    EXPECT_EQ(NameOf(FormatOfName(name)), name);
  }
  for (const char* const name : {"", "Triplet", "triplet ", "unknown"}) {
    EXPECT_EQ(FormatOfName(name), kUnknown) << name;
  }
}

}  // namespace
}  // namespace svc::publicfirmware
