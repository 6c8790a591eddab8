#include "runtime/hskcore/cell.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <string>

namespace svc {
namespace {

using NQRXHSK20::ECIMType;

struct TNumberText {
  ECIMType type;
  std::string text;
  std::uint64_t bits;
};

void PrintTo(const TNumberText& row, std::ostream* out) {
  *out << NameOfCimType(row.type) << " '" << row.text << "'";
}

std::uint64_t Negative(std::int64_t value) { return static_cast<std::uint64_t>(value); }
std::uint64_t RealBits(double value) { return std::bit_cast<std::uint64_t>(value); }

class NumberText : public ::testing::TestWithParam<TNumberText> {};

TEST_P(NumberText, IsRead) {
  EXPECT_EQ(NumberFromText(GetParam().type, GetParam().text), GetParam().bits);
}

INSTANTIATE_TEST_SUITE_P(
    Good, NumberText,
    ::testing::Values(
        TNumberText{ECIMType::kBoolean, "TRUE", 1}, TNumberText{ECIMType::kBoolean, "fAlSe", 0},
        TNumberText{ECIMType::kUint8, "255", 255}, TNumberText{ECIMType::kUint8, "0xFF", 255},
        TNumberText{ECIMType::kUint8, "+0x0f", 15}, TNumberText{ECIMType::kUint8, "-0", 0},
        TNumberText{ECIMType::kUint16, "65535", 65535},
        TNumberText{ECIMType::kUint32, "4294967295", 4294967295},
        TNumberText{ECIMType::kUint64, "18446744073709551615", ~std::uint64_t{0}},
        TNumberText{ECIMType::kSint8, "-128", Negative(-128)},
        TNumberText{ECIMType::kSint8, "127", 127},
        TNumberText{ECIMType::kSint16, "-0x8000", Negative(-32768)},
        TNumberText{ECIMType::kSint32, "-2147483648", Negative(-2147483648)},
        TNumberText{ECIMType::kSint64, "-9223372036854775808",
                    Negative(std::numeric_limits<std::int64_t>::min())},
        TNumberText{ECIMType::kReal64, "1.5", RealBits(1.5)},
        TNumberText{ECIMType::kReal64, "+1.5E-3", RealBits(1.5e-3)},
        TNumberText{ECIMType::kReal64, "-.25", RealBits(-.25)},
        TNumberText{ECIMType::kReal64, "2", RealBits(2)},
        TNumberText{ECIMType::kReal64, "-INF", RealBits(-std::numeric_limits<double>::infinity())},
        TNumberText{ECIMType::kReal32, "0.1", RealBits(static_cast<double>(0.1f))}));

class NoNumberText : public ::testing::TestWithParam<std::pair<ECIMType, const char*>> {};

TEST_P(NoNumberText, IsRefused) {
  EXPECT_EQ(NumberFromText(GetParam().first, GetParam().second), std::nullopt)
      << NameOfCimType(GetParam().first) << " '" << GetParam().second << "'";
}

INSTANTIATE_TEST_SUITE_P(
    Bad, NoNumberText,
    ::testing::Values(
        std::pair{ECIMType::kBoolean, "1"}, std::pair{ECIMType::kBoolean, "TRUE "},
        std::pair{ECIMType::kBoolean, "xrue"}, std::pair{ECIMType::kBoolean, "trux"},
        std::pair{ECIMType::kBoolean, "xalse"}, std::pair{ECIMType::kBoolean, "falsx"},
        std::pair{ECIMType::kReal64, "xNF"}, std::pair{ECIMType::kReal64, "INx"},
        std::pair{ECIMType::kReal64, "xaN"}, std::pair{ECIMType::kReal64, "Nax"},
        std::pair{ECIMType::kReal64, "-xNF"}, std::pair{ECIMType::kReal64, "-INx"},
        std::pair{ECIMType::kBoolean, ""}, std::pair{ECIMType::kUint8, "256"},
        std::pair{ECIMType::kUint8, "-1"}, std::pair{ECIMType::kUint8, ""},
        std::pair{ECIMType::kUint8, " 1"}, std::pair{ECIMType::kUint8, "1 "},
        std::pair{ECIMType::kUint8, "1.0"}, std::pair{ECIMType::kUint8, "++1"},
        std::pair{ECIMType::kUint8, "0x"}, std::pair{ECIMType::kUint8, "0x100"},
        std::pair{ECIMType::kUint8, "0x-1"}, std::pair{ECIMType::kUint8, "1,000"},
        std::pair{ECIMType::kUint16, "65536"}, std::pair{ECIMType::kUint32, "4294967296"},
        std::pair{ECIMType::kUint64, "18446744073709551616"}, std::pair{ECIMType::kSint8, "128"},
        std::pair{ECIMType::kSint8, "-129"}, std::pair{ECIMType::kSint64, "9223372036854775808"},
        std::pair{ECIMType::kSint64, "-9223372036854775809"}, std::pair{ECIMType::kReal64, ""},
        std::pair{ECIMType::kReal64, "1,5"}, std::pair{ECIMType::kReal64, "0x1p3"},
        std::pair{ECIMType::kReal64, "+-1"}, std::pair{ECIMType::kReal64, "1e"},
        std::pair{ECIMType::kReal64, "1e999"}, std::pair{ECIMType::kReal64, "infinity"},
        std::pair{ECIMType::kReal64, "nan(1)"}, std::pair{ECIMType::kReal32, "1e39"},
        std::pair{ECIMType::kReal64, "1.0 "}));

struct TTypedText {
  ECIMType type;
  std::string text;
};

// Names of tests are ASCII, so that each tool runs the one that it means.
void PrintTo(const TTypedText& row, std::ostream* out) {
  *out << NameOfCimType(row.type) << " '";
  for (const char c : row.text) {
    const auto byte = static_cast<unsigned char>(c);
    constexpr const char* kDigits = "0123456789abcdef";
    if (byte > ' ' && byte < 0x7F) {
      *out << c;
    } else {
      *out << "\\x" << kDigits[byte >> 4U] << kDigits[byte & 15U];
    }
  }
  *out << "'";
}

class TextOfType : public ::testing::TestWithParam<TTypedText> {};
class TextOfNoType : public ::testing::TestWithParam<TTypedText> {};

TEST_P(TextOfType, IsTaken) { EXPECT_TRUE(IsTextOfType(GetParam().type, GetParam().text)); }
TEST_P(TextOfNoType, IsRefused) { EXPECT_FALSE(IsTextOfType(GetParam().type, GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(
    Good, TextOfType,
    ::testing::Values(TTypedText{ECIMType::kString, ""}, TTypedText{ECIMType::kReference, "x"},
                      TTypedText{ECIMType::kChar16, "a"}, TTypedText{ECIMType::kChar16, "\xc3\xa9"},
                      TTypedText{ECIMType::kChar16, "\xe2\x82\xac"},
                      TTypedText{ECIMType::kChar16, "\x7f"},
                      TTypedText{ECIMType::kChar16, "\xc2\x80"},
                      TTypedText{ECIMType::kChar16, "\xdf\xbf"},
                      TTypedText{ECIMType::kChar16, "\xe0\xa0\x80"},
                      TTypedText{ECIMType::kChar16, "\xed\x9f\xbf"},
                      TTypedText{ECIMType::kChar16, "\xee\x80\x80"},
                      TTypedText{ECIMType::kChar16, "\xef\xbf\xbf"},
                      TTypedText{ECIMType::kDateTime, "20260131235959.999999+060"},
                      TTypedText{ECIMType::kDateTime, "20260131000000.000000-300"},
                      TTypedText{ECIMType::kDateTime, "20260131******.******+000"},
                      TTypedText{ECIMType::kDateTime, "20260131235959.12****+000"},
                      TTypedText{ECIMType::kDateTime, "****0131235959.******+***"},
                      TTypedText{ECIMType::kDateTime, "********235959.000000:000"},
                      TTypedText{ECIMType::kDateTime, "99999999235959.000000:000"},
                      TTypedText{ECIMType::kDateTime, "00000001132312.000000:000"}));

INSTANTIATE_TEST_SUITE_P(
    Bad, TextOfNoType,
    ::testing::Values(
        TTypedText{ECIMType::kChar16, ""}, TTypedText{ECIMType::kChar16, "ab"},
        TTypedText{ECIMType::kChar16, "\xf0\x9f\x92\xa9"},
        TTypedText{ECIMType::kChar16, "\xed\xa0\x80"}, TTypedText{ECIMType::kChar16, "\xc0\x80"},
        TTypedText{ECIMType::kChar16, "\xe0\x80\x80"}, TTypedText{ECIMType::kChar16, "\x80"},
        TTypedText{ECIMType::kChar16, "\xff"}, TTypedText{ECIMType::kChar16, "a\x80"},
        TTypedText{ECIMType::kChar16, "\xc1\xbf"}, TTypedText{ECIMType::kChar16, "\xe0\x80"},
        TTypedText{ECIMType::kChar16, "\xc3\x7f"}, TTypedText{ECIMType::kChar16, "\xc3\xc0"},
        TTypedText{ECIMType::kChar16, "\xe0\x9f\xbf"},
        TTypedText{ECIMType::kChar16, "\xed\xbf\xbf"},
        TTypedText{ECIMType::kChar16, "\xdf\x80\x80"},
        TTypedText{ECIMType::kChar16, "\xf0\x80\x80"},
        TTypedText{ECIMType::kChar16, "\xe1\x7f\x80"},
        TTypedText{ECIMType::kChar16, "\xe1\x80\xc0"}, TTypedText{ECIMType::kDateTime, ""},
        TTypedText{ECIMType::kDateTime, "2026-01-31"},
        TTypedText{ECIMType::kDateTime, "20261331000000.000000+060"},
        TTypedText{ECIMType::kDateTime, "20260132000000.000000+060"},
        TTypedText{ECIMType::kDateTime, "20260131240000.000000+060"},
        TTypedText{ECIMType::kDateTime, "20260131006000.000000+060"},
        TTypedText{ECIMType::kDateTime, "20260131000000,000000+060"},
        TTypedText{ECIMType::kDateTime, "20260131000000.000000 060"},
        TTypedText{ECIMType::kDateTime, "20260131000000.000000+06x"},
        TTypedText{ECIMType::kDateTime, "2026013100000*.000000+060"},
        TTypedText{ECIMType::kDateTime, "202601310000*0.000000+060"},
        TTypedText{ECIMType::kDateTime, "2026013100000/.000000+060"},
        TTypedText{ECIMType::kDateTime, "202601310000:0.000000+060"},
        TTypedText{ECIMType::kDateTime, "202/0131000000.000000+060"},
        TTypedText{ECIMType::kDateTime, "202:0131000000.000000+060"},
        TTypedText{ECIMType::kDateTime, "**260131000000.000000+060"},
        TTypedText{ECIMType::kDateTime, "20260031000000.000000+060"},
        TTypedText{ECIMType::kDateTime, "20260100000000.000000+060"},
        TTypedText{ECIMType::kDateTime, "20260131000000.000000+06*"},
        TTypedText{ECIMType::kDateTime, "0000000*132312.000000:000"},
        TTypedText{ECIMType::kDateTime, "20260131000000.**0000+060"},
        TTypedText{ECIMType::kDateTime, "00000001132312.000000:001"},
        TTypedText{ECIMType::kDateTime, "20260131000000.000000+0600"}));

TEST(TypeName, NamesItsType) {
  for (int i = 0; i <= static_cast<int>(ECIMType::kReference); ++i) {
    const auto type = static_cast<ECIMType>(i);
    EXPECT_EQ(CimTypeOfName(NameOfCimType(type)), type);
  }
  for (const char* unknown : {"", "String", "uint128", "int"}) {
    EXPECT_EQ(CimTypeOfName(unknown), std::nullopt) << unknown;
  }
}

}  // namespace
}  // namespace svc
