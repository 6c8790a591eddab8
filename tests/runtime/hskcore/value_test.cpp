#include "host/hskcore/value.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "host/hskcore/exception.h"

namespace NQRXHSK20 {
namespace {

struct TTextCase {
  TCIMValue value;
  std::string text;
};

void PrintTo(const TTextCase& row, std::ostream* out) { *out << row.text; }

class ValueAsText : public ::testing::TestWithParam<TTextCase> {};

TEST_P(ValueAsText, IsWrittenInDecimal) {
  EXPECT_EQ(GetParam().value.ToString(10), GetParam().text);
  EXPECT_EQ(static_cast<std::string>(GetParam().value), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ValueAsText,
    ::testing::Values(
        TTextCase{TCIMValue(), ""}, TTextCase{TCIMValue(""), ""},
        TTextCase{TCIMValue("a b "), "a b "},
        TTextCase{TCIMValue::Unsigned(ECIMType::kUint8, 255), "255"},
        TTextCase{TCIMValue::Unsigned(ECIMType::kUint64, ~std::uint64_t{0}),
                  "18446744073709551615"},
        TTextCase{TCIMValue::Signed(ECIMType::kSint64, std::numeric_limits<std::int64_t>::min()),
                  "-9223372036854775808"},
        TTextCase{TCIMValue::Boolean(true), "TRUE"}, TTextCase{TCIMValue::Boolean(false), "FALSE"},
        TTextCase{TCIMValue::Real(ECIMType::kReal64, 0.1), "0.1"},
        TTextCase{TCIMValue::Real(ECIMType::kReal64, 1.0), "1"},
        TTextCase{TCIMValue::Real(ECIMType::kReal64, 1e300), "1e+300"},
        TTextCase{TCIMValue::Real(ECIMType::kReal32, static_cast<double>(0.1f)), "0.1"},
        TTextCase{TCIMValue::Real(ECIMType::kReal64, std::numeric_limits<double>::infinity()),
                  "INF"},
        TTextCase{TCIMValue::Real(ECIMType::kReal32, -std::numeric_limits<double>::infinity()),
                  "-INF"},
        TTextCase{TCIMValue::Real(ECIMType::kReal64, std::numeric_limits<double>::quiet_NaN()),
                  "NaN"},
        TTextCase{TCIMValue::Text(ECIMType::kChar16, "7"), "7"},
        TTextCase{TCIMValue::Text(ECIMType::kReference, "C.k=1"), "C.k=1"},
        TTextCase{TCIMValue::Text(ECIMType::kDateTime, "20260131000000.000000+060"),
                  "20260131000000.000000+060"},
        TTextCase{TCIMValue::Null(ECIMType::kUint16), ""},
        TTextCase{TCIMValue::Null(ECIMType::kString, true), ""},
        TTextCase{TCIMValue::Array(ECIMType::kString, {}), "{ }"},
        TTextCase{TCIMValue::Array(ECIMType::kString, {TCIMValue("a")}), "{ a }"},
        TTextCase{TCIMValue::Array(ECIMType::kUint8, {TCIMValue::Unsigned(ECIMType::kUint8, 1),
                                                      TCIMValue::Null(ECIMType::kUint8),
                                                      TCIMValue::Unsigned(ECIMType::kUint8, 3)}),
                  "{ 1, , 3 }"}));

TEST(ValueInRadix, WritesIntegersOnly) {
  EXPECT_EQ(TCIMValue::Unsigned(ECIMType::kUint16, 0xbeef).ToString(16), "beef");
  EXPECT_EQ(TCIMValue::Signed(ECIMType::kSint8, -5).ToString(2), "-101");
  EXPECT_EQ(TCIMValue::Unsigned(ECIMType::kUint8, 35).ToString(36), "z");
  EXPECT_EQ(TCIMValue("10").ToString(16), "10");
  EXPECT_EQ(
      TCIMValue::Array(ECIMType::kUint8, {TCIMValue::Unsigned(ECIMType::kUint8, 16)}).ToString(16),
      "{ 10 }");
  for (const std::uint8_t radix : {0, 1, 37}) {
    try {
      TCIMValue::Unsigned(ECIMType::kUint8, 1).ToString(radix);
      ADD_FAILURE() << static_cast<int>(radix);
    } catch (const THSKException& error) {
      EXPECT_EQ(error.GetMessageText(),
                "A number cannot be written with the radix " + std::to_string(radix));
      EXPECT_EQ(error.GetStatusCode(), NQRXHSK20::THSKStatusCode::kFailed);
    }
  }
}

struct TNumberCase {
  TCIMValue value;
  std::uint16_t number;
};

void PrintTo(const TNumberCase& row, std::ostream* out) { *out << row.value.ToString(10); }

class ValueThatFitsUint16 : public ::testing::TestWithParam<TNumberCase> {};

TEST_P(ValueThatFitsUint16, Converts) {
  EXPECT_EQ(static_cast<std::uint16_t>(GetParam().value), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ValueThatFitsUint16,
    ::testing::Values(TNumberCase{TCIMValue::Unsigned(ECIMType::kUint64, 65535), 65535},
                      TNumberCase{TCIMValue::Signed(ECIMType::kSint32, 36), 36},
                      TNumberCase{TCIMValue("36"), 36}, TNumberCase{TCIMValue("+36"), 36},
                      TNumberCase{TCIMValue("0x1F"), 31}, TNumberCase{TCIMValue("0Xff"), 255},
                      TNumberCase{TCIMValue("-0"), 0}, TNumberCase{TCIMValue("0000065535"), 65535},
                      TNumberCase{TCIMValue::BorrowedText(ECIMType::kString, "7"), 7}));

struct TMisfit {
  const char* name;
  TCIMValue value;
};

void PrintTo(const TMisfit& row, std::ostream* out) { *out << row.name; }

TEST(ValueThatIsNoNumber, SaysWhatItIs) {
  const auto cause = [](const TCIMValue& value) -> std::string {
    try {
      return std::to_string(static_cast<std::uint16_t>(value));
    } catch (const THSKException& error) {
      return error.GetMessageText();
    }
  };
  EXPECT_EQ(cause(TCIMValue("abc")), "\"abc\" of type string is no uint16");
  EXPECT_EQ(cause(TCIMValue::Unsigned(ECIMType::kUint32, 65536)),
            "\"65536\" of type uint32 is no uint16");
  EXPECT_EQ(cause(TCIMValue::Null(ECIMType::kUint8)), "a null value of type uint8 is no uint16");
  EXPECT_EQ(cause(TCIMValue::Null(ECIMType::kUint8, true)),
            "a null value of type uint8 is no uint16");
  EXPECT_EQ(cause(TCIMValue::Array(ECIMType::kUint8, {})), "an array of type uint8 is no uint16");
  try {
    static_cast<void>(static_cast<const std::vector<TCIMValue>&>(TCIMValue("abc")));
    ADD_FAILURE() << "it is an array";
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetMessageText(), "\"abc\" of type string is no array");
  }
}

class ValueThatIsNoUint16 : public ::testing::TestWithParam<TMisfit> {};

TEST_P(ValueThatIsNoUint16, IsATypeMismatch) {
  try {
    static_cast<void>(static_cast<std::uint16_t>(GetParam().value));
    FAIL() << "converted";
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kTypeMismatch);
    EXPECT_FALSE(error.GetMessageText().empty());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ValueThatIsNoUint16,
    ::testing::Values(
        TMisfit{"null", TCIMValue()}, TMisfit{"null number", TCIMValue::Null(ECIMType::kUint16)},
        TMisfit{"too large", TCIMValue::Unsigned(ECIMType::kUint32, 65536)},
        TMisfit{"negative", TCIMValue::Signed(ECIMType::kSint8, -1)},
        TMisfit{"boolean", TCIMValue::Boolean(true)},
        TMisfit{"real", TCIMValue::Real(ECIMType::kReal64, 1.0)},
        TMisfit{"char16", TCIMValue::Text(ECIMType::kChar16, "7")},
        TMisfit{"reference", TCIMValue::Text(ECIMType::kReference, "7")},
        TMisfit{"datetime", TCIMValue::Text(ECIMType::kDateTime, "20260131000000.000000+060")},
        TMisfit{"array",
                TCIMValue::Array(ECIMType::kUint16, {TCIMValue::Unsigned(ECIMType::kUint16, 1)})},
        TMisfit{"empty text", TCIMValue("")}, TMisfit{"word", TCIMValue("RHEL")},
        TMisfit{"blank before", TCIMValue(" 36")}, TMisfit{"blank behind", TCIMValue("36 ")},
        TMisfit{"sign alone", TCIMValue("+")}, TMisfit{"two signs", TCIMValue("+-3")},
        TMisfit{"hex without digits", TCIMValue("0x")}, TMisfit{"real text", TCIMValue("1.0")},
        TMisfit{"text too large", TCIMValue("65536")}, TMisfit{"negative text", TCIMValue("-1")},
        TMisfit{"text beyond 64 bits", TCIMValue("18446744073709551617")}));

TEST(ValueOfArray, GivesItsElements) {
  const TCIMValue value = TCIMValue::Array(ECIMType::kString, {TCIMValue("a"), TCIMValue("b")});
  const auto& elements = static_cast<const std::vector<TCIMValue>&>(value);
  ASSERT_EQ(elements.size(), 2u);
  EXPECT_EQ(elements[1].ToString(10), "b");
  EXPECT_TRUE(value.IsArray());
  EXPECT_FALSE(value.IsNull());
}

TEST(ValueOfArray, IsAskedOfNothingElse) {
  for (const TCIMValue& value :
       {TCIMValue(), TCIMValue("a"), TCIMValue::Null(ECIMType::kString, true)}) {
    EXPECT_THROW(static_cast<void>(static_cast<const std::vector<TCIMValue>&>(value)),
                 THSKException);
  }
}

TEST(ValueOfArray, AddsTheTextsOfItsElements) {
  std::string text = "before:";
  TCIMValue::Array(ECIMType::kSint8,
                   {TCIMValue::Signed(ECIMType::kSint8, -1), TCIMValue::Null(ECIMType::kSint8)})
      .AppendElements(text, ';');
  EXPECT_EQ(text, "before:-1;;");
  TCIMValue::Array(ECIMType::kString, {}).AppendElements(text, ';');
  EXPECT_EQ(text, "before:-1;;");
  EXPECT_THROW(TCIMValue("a").AppendElements(text, ';'), THSKException);
  EXPECT_THROW(TCIMValue::Null(ECIMType::kString, true).AppendElements(text, ';'), THSKException);
}

TEST(BorrowedValue, IsOwnedByItsCopy) {
  std::string bytes = "1.00";
  const TCIMValue borrowed = TCIMValue::BorrowedText(ECIMType::kString, bytes);
  const TCIMValue copy = borrowed;
  TCIMValue assigned;
  assigned = borrowed;
  const TCIMValue array = TCIMValue::Array(ECIMType::kString, {borrowed});
  bytes = "9.99";
  EXPECT_EQ(borrowed.ToString(10), "9.99");
  EXPECT_EQ(copy.ToString(10), "1.00");
  EXPECT_EQ(assigned.ToString(10), "1.00");
  EXPECT_EQ(array.ToString(10), "{ 1.00 }");
}

TEST(Value, SharesNothingWithItsCopy) {
  TCIMValue source("a");
  TCIMValue copy = source;
  source = TCIMValue("b");
  EXPECT_EQ(copy.ToString(10), "a");
  const TCIMValue& itself = copy;
  copy = itself;
  EXPECT_EQ(copy.ToString(10), "a");
  const TCIMValue moved = std::move(copy);
  EXPECT_EQ(moved.ToString(10), "a");
}

}  // namespace
}  // namespace NQRXHSK20
