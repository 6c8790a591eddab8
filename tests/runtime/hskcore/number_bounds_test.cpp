// Integers of every type at the edges of what fits, and how they would wrap.
#include <gtest/gtest.h>

#include "host/hskcore/exception.h"
#include "host/hskcore/value.h"
#include "runtime/hskcore/cell.h"

namespace svc {
namespace {

using NQRXHSK20::ECIMType;
using NQRXHSK20::TCIMValue;

__extension__ using TWide = __int128;

std::string Text(TWide number) {
  if (number < 0) return "-" + Text(-number);
  std::string text;
  do {
    text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(number % 10)));
    number /= 10;
  } while (number != 0);
  return text;
}

struct TBounds {
  ECIMType type;
  unsigned bits;
  bool isSigned;
  TWide Least() const { return isSigned ? -(TWide{1} << (bits - 1)) : TWide{0}; }
  TWide Most() const { return (TWide{1} << (isSigned ? bits - 1 : bits)) - 1; }
};
constexpr TBounds kTypes[] = {
    {ECIMType::kUint8, 8, false},   {ECIMType::kUint16, 16, false}, {ECIMType::kUint32, 32, false},
    {ECIMType::kUint64, 64, false}, {ECIMType::kSint8, 8, true},    {ECIMType::kSint16, 16, true},
    {ECIMType::kSint32, 32, true},  {ECIMType::kSint64, 64, true},
};

TEST(IntegerBounds, OfEveryTypeAreKept) {
  for (const TBounds& bounds : kTypes) {
    std::vector<TWide> tried;
    for (const TWide edge : {bounds.Least(), bounds.Most(), TWide{1} << 31, TWide{1} << 32,
                             TWide{1} << 63, TWide{1} << 64, (TWide{1} << 64) * 2}) {
      for (const int offset : {-1, 0, 1, 5, 65}) {
        tried.push_back(edge + offset);
        tried.push_back(-edge - offset);
      }
    }
    for (const TWide number : tried) {
      const auto bits = NumberFromText(bounds.type, Text(number));
      const bool fits = number >= bounds.Least() && number <= bounds.Most();
      ASSERT_EQ(bits.has_value(), fits) << NameOfCimType(bounds.type) << ' ' << Text(number);
      if (!fits) continue;
      EXPECT_EQ(*bits, static_cast<std::uint64_t>(number)) << Text(number);
    }
  }
}

TEST(IntegerBounds, OfASixteenBitConversionAreKept) {
  EXPECT_EQ(static_cast<std::uint16_t>(TCIMValue::Unsigned(ECIMType::kUint64, 65535)), 65535);
  EXPECT_EQ(static_cast<std::uint16_t>(TCIMValue("65535")), 65535);
  const std::uint64_t one = 1;
  for (const std::uint64_t beyond : {one << 16, (one << 16) + 36, one << 31, one << 32,
                                     (one << 32) + 36, one << 63, ~std::uint64_t{0}}) {
    EXPECT_THROW(static_cast<void>(
                     static_cast<std::uint16_t>(TCIMValue::Unsigned(ECIMType::kUint64, beyond))),
                 NQRXHSK20::THSKException)
        << beyond;
    EXPECT_THROW(static_cast<void>(static_cast<std::uint16_t>(TCIMValue(std::to_string(beyond)))),
                 NQRXHSK20::THSKException)
        << beyond;
  }
  EXPECT_THROW(static_cast<void>(static_cast<std::uint16_t>(TCIMValue("18446744073709551652"))),
               NQRXHSK20::THSKException);
  EXPECT_THROW(
      static_cast<void>(static_cast<std::uint16_t>(TCIMValue::Signed(ECIMType::kSint64, -1))),
      NQRXHSK20::THSKException);
}

TEST(IntegerBounds, OfTheRadixAreKept) {
  const TCIMValue value = TCIMValue::Unsigned(ECIMType::kUint8, 35);
  EXPECT_EQ(value.ToString(2), "100011");
  EXPECT_EQ(value.ToString(36), "z");
  EXPECT_THROW(value.ToString(1), NQRXHSK20::THSKException);
  EXPECT_THROW(value.ToString(37), NQRXHSK20::THSKException);
}

}  // namespace
}  // namespace svc
