#include "runtime/hskcore/cell.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <clocale>
#include <limits>
#include <string>

namespace svc {

using NQRXHSK20::ECIMType;

namespace {

// In the order of ECIMType.
constexpr std::array<std::string_view, 15> kTypeNames = {
    "string", "boolean", "char16", "uint8",  "uint16", "uint32",   "uint64",   "sint8",
    "sint16", "sint32",  "sint64", "real32", "real64", "datetime", "reference"};
static_assert(kTypeNames.size() == static_cast<std::size_t>(ECIMType::kReference) + 1);

char Lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }

bool SameWord(std::string_view text, std::string_view lower) noexcept {
  if (text.size() != lower.size()) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (Lower(text[i]) != lower[i]) {
      return false;
    }
  }
  return true;
}

// Takes the sign off the text.
bool TakeSign(std::string_view& text) noexcept {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  return isNegative;
}

template <typename T>
std::optional<T> WholeNumber(std::string_view text, int base) noexcept {
  T value;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  return error == std::errc() && stop == end ? std::optional<T>(value) : std::nullopt;
}

struct TMagnitude {
  std::uint64_t value;
  bool isNegative;
};

std::optional<TMagnitude> IntegerMagnitude(std::string_view text) noexcept {
  const bool isNegative = TakeSign(text);
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) {
    text.remove_prefix(2);
  }
  const auto value = WholeNumber<std::uint64_t>(text, isHex ? 16 : 10);
  return value ? std::optional<TMagnitude>({*value, isNegative}) : std::nullopt;
}

template <typename T>
std::optional<std::uint64_t> UnsignedInteger(std::string_view text) noexcept {
  const auto number = IntegerMagnitude(text);
  if (!number || number->value > std::numeric_limits<T>::max() ||
      (number->isNegative && number->value != 0)) {
    return std::nullopt;
  }
  return number->value;
}

template <typename T>
std::optional<std::uint64_t> SignedInteger(std::string_view text) noexcept {
  const auto number = IntegerMagnitude(text);
  const std::uint64_t largest = std::numeric_limits<T>::max();
  if (!number || number->value > largest + (number->isNegative ? 1 : 0)) {
    return std::nullopt;
  }
  return number->isNegative ? 0 - number->value : number->value;
}

std::optional<std::uint64_t> RealBits(double value) noexcept {
  return std::bit_cast<std::uint64_t>(value);
}

// The three texts that stand for no finite number.
std::optional<double> SpecialReal(std::string_view text) noexcept {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  return text == "INF"    ? std::optional<double>(kInfinity)
         : text == "-INF" ? std::optional<double>(-kInfinity)
         : text == "NaN"  ? std::optional<double>(std::numeric_limits<double>::quiet_NaN())
                          : std::nullopt;
}

// Whether the whole text is a number that the type can hold, whatever the locale.
#ifdef __cpp_lib_to_chars
template <typename T>
bool ReadReal(std::string_view text, T& value) noexcept {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && stop == end;
}
#else
// LLVM's C++ library reads integers alone so.
double ReadWith(const char* text, char** end, locale_t locale, double) noexcept {
  return ::strtod_l(text, end, locale);
}
float ReadWith(const char* text, char** end, locale_t locale, float) noexcept {
  return ::strtof_l(text, end, locale);
}
template <typename T>
bool ReadReal(std::string_view text, T& value) {
  static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
  const std::string whole(text);
  char* stop = nullptr;
  errno = 0;
  value = ReadWith(whole.c_str(), &stop, plain, T());
  const bool isOutOfRange = errno == ERANGE && (value == 0 || std::isinf(value));
  return !whole.empty() && whole[0] != '+' && *stop == '\0' && !isOutOfRange;
}
#endif

template <typename T>
std::optional<std::uint64_t> Real(std::string_view text) {
  if (const auto special = SpecialReal(text)) {
    return RealBits(*special);
  }
  if (text.starts_with('+') && !text.starts_with("+-")) {
    text.remove_prefix(1);
  }
  if (text.find_first_not_of("+-.0123456789eE") != text.npos) {
    return std::nullopt;
  }
  T value;
  if (!ReadReal(text, value)) return {};
  return RealBits(value);
}

std::optional<std::uint64_t> Boolean(std::string_view text) noexcept {
  return SameWord(text, "true")    ? std::optional<std::uint64_t>(1)
         : SameWord(text, "false") ? std::optional<std::uint64_t>(0)
                                   : std::nullopt;
}

// One character of the Basic Multilingual Plane in UTF-8, no half of a surrogate pair.
bool IsUcs2Character(std::string_view text) noexcept {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const auto follows = [&](std::size_t at) { return (byte(at) & 0xc0) == 0x80; };
  switch (text.size()) {
    case 1:
      return byte(0) < 0x80;
    case 2:
      return byte(0) >= 0xc2 && byte(0) <= 0xdf && follows(1);
    case 3:
      return (byte(0) & 0xf0) == 0xe0 && follows(1) && follows(2) &&
             !(byte(0) == 0xe0 && byte(1) < 0xa0) && !(byte(0) == 0xed && byte(1) >= 0xa0);
    default:
      return false;
  }
}

// A field of a datetime: digits, or asterisks for a field that does not matter.
template <std::size_t kLength>
bool IsField(const char* at) noexcept {
  const std::string_view field(at, kLength);
  std::size_t digits = 0;
  std::size_t asterisks = 0;
  for (const char c : field) {
    digits += static_cast<std::size_t>(c >= '0' && c <= '9');
    asterisks += static_cast<std::size_t>(c == '*');
  }
  return digits == kLength || asterisks == kLength;
}

// One of two digits.
bool IsField(const char* at, int least, int most) noexcept {
  const int tens = at[0] - '0';
  const int units = at[1] - '0';
  if (tens < 0 || tens > 9 || units < 0 || units > 9) return at[0] == '*' && at[1] == '*';
  const int value = tens * 10 + units;
  return value >= least && value <= most;
}

bool IsTimeOfDay(const char* at) noexcept {
  return IsField(at, 0, 23) && IsField(at + 2, 0, 59) && IsField(at + 4, 0, 59);
}

// Digits, the last of which may be asterisks where less is known.
bool IsFraction(std::string_view field) noexcept {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  const auto known = std::find_if_not(field.begin(), field.end(), isDigit);
  return std::all_of(known, field.end(), [](char c) { return c == '*'; });
}

// A point in time, "yyyymmddhhmmss.mmmmmm+utc", or an interval, "ddddddddhhmmss.mmmmmm:000".
bool IsDateTime(std::string_view text) noexcept {
  const char* const at = text.data();
  if (text.size() != 25 || at[14] != '.' || !IsTimeOfDay(at + 8) ||
      !IsFraction(text.substr(15, 6))) {
    return false;
  }
  if (at[21] == ':') {
    return text.substr(22) == "000" && IsField<8>(at);
  }
  return (at[21] == '+' || at[21] == '-') && IsField<3>(at + 22) && IsField<4>(at) &&
         IsField(at + 4, 1, 12) && IsField(at + 6, 1, 31);
}

}  // namespace

std::optional<ECIMType> CimTypeOfName(std::string_view name) noexcept {
  for (std::size_t i = 0; i < kTypeNames.size(); ++i) {
    if (kTypeNames[i] == name) {
      return static_cast<ECIMType>(i);
    }
  }
  return std::nullopt;
}

std::string_view NameOfCimType(ECIMType type) noexcept {
  return kTypeNames[static_cast<std::size_t>(type)];
}

bool IsTextOfType(ECIMType type, std::string_view text) noexcept {
  switch (type) {
    case ECIMType::kChar16:
      return IsUcs2Character(text);
    case ECIMType::kDateTime:
      return IsDateTime(text);
    default:
      return true;
  }
}

std::optional<std::uint64_t> NumberFromText(ECIMType type, std::string_view text) {
  switch (type) {
    case ECIMType::kBoolean:
      return Boolean(text);
    case ECIMType::kUint8:
      return UnsignedInteger<std::uint8_t>(text);
    case ECIMType::kUint16:
      return UnsignedInteger<std::uint16_t>(text);
    case ECIMType::kUint32:
      return UnsignedInteger<std::uint32_t>(text);
    case ECIMType::kUint64:
      return UnsignedInteger<std::uint64_t>(text);
    case ECIMType::kSint8:
      return SignedInteger<std::int8_t>(text);
    case ECIMType::kSint16:
      return SignedInteger<std::int16_t>(text);
    case ECIMType::kSint32:
      return SignedInteger<std::int32_t>(text);
    case ECIMType::kSint64:
      return SignedInteger<std::int64_t>(text);
    case ECIMType::kReal32:
      return Real<float>(text);
    case ECIMType::kReal64:
      return Real<double>(text);
    default:
      return std::nullopt;
  }
}

}  // namespace svc
