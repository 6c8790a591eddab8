#include "host/hskcore/value.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/cell.h"

namespace NQRXHSK20 {

[[noreturn]] static void ThrowMismatch(const TCIMValue& value, const char* wanted) {
  const std::string what = value.IsNull()    ? "a null value"
                           : value.IsArray() ? "an array"
                                             : "\"" + svc::CutName(value.ToString(10)) + "\"";
  throw THSKException(
      what + " of type " + std::string(svc::NameOfCimType(value.Type())) + " is no " + wanted,
      THSKStatusCode::kTypeMismatch);
}

template <typename T>
static std::string IntegerText(T value, std::uint8_t radix) {
  if (radix < 2 || radix > 36) {
    throw THSKException("A number cannot be written with the radix " + std::to_string(radix),
                        THSKStatusCode::kFailed);
  }
  char text[std::numeric_limits<std::uint64_t>::digits + 1];
  return {text, std::to_chars(text, text + sizeof text, value, radix).ptr};
}

template <typename T>
static std::string RealText(T value) {
  if (std::isnan(value)) {
    return "NaN";
  }
  if (std::isinf(value)) {
    return value < 0 ? "-INF" : "INF";
  }
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

static std::string ArrayText(const std::vector<TCIMValue>& elements, std::uint8_t radix) {
  std::string text = "{ ";
  for (const TCIMValue& element : elements) {
    text += &element == elements.data() ? "" : ", ";
    text += element.ToString(radix);
  }
  return text + (elements.empty() ? "}" : " }");
}

// Writes each kind of value.
struct TCIMValue::TTextOf {
  ECIMType type;
  std::uint8_t radix;

  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(bool value) const { return value ? "TRUE" : "FALSE"; }
  std::string operator()(std::uint64_t value) const { return IntegerText(value, radix); }
  std::string operator()(std::int64_t value) const { return IntegerText(value, radix); }
  std::string operator()(double value) const {
    return type == ECIMType::kReal32 ? RealText(static_cast<float>(value)) : RealText(value);
  }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(std::string_view value) const { return std::string(value); }
  std::string operator()(const TSharedText& value) const { return std::string(value.View()); }
  std::string operator()(const std::vector<TCIMValue>& value) const {
    return ArrayText(value, radix);
  }
  std::string operator()(const TStoredArray& value) const {
    return ArrayText(value.Elements(type), radix);
  }
};

const std::vector<TCIMValue>& TCIMValue::TStoredArray::Elements(ECIMType type) const {
  const std::vector<TCIMValue>* elements = made.load(std::memory_order_acquire);
  if (elements == nullptr) {
    auto mine = std::make_unique<const std::vector<TCIMValue>>(svc::ElementsOf(type, stored));
    // Another thread may have been faster: its elements are taken then.
    if (made.compare_exchange_strong(elements, mine.get(), std::memory_order_acq_rel)) {
      elements = mine.release();
    }
  }
  return *elements;
}

// Copies the alternative and moves it into place; a borrowed text becomes one of its own. Copied as
// a whole, a variant of these types crashes in GCC 12's library when there is no memory: it is
// taken for one that is never without a value, and destroyed before it has one.
TCIMValue::Data TCIMValue::CopyOf(ECIMType type, const Data& data) {
  return std::visit(
      [type](const auto& value) -> Data {
        using TValue = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<TValue, TStoredArray>) {
          return std::vector<TCIMValue>(value.Elements(type));
        } else {
          using TOwner =
              std::conditional_t<std::is_same_v<TValue, std::string_view>, std::string, TValue>;
          return TOwner(value);
        }
      },
      data);
}

TCIMValue::TCIMValue() : type(ECIMType::kString), array(false) {}
TCIMValue::TCIMValue(const char* text) : TCIMValue(std::string(text)) {}
TCIMValue::TCIMValue(std::string text)
    : TCIMValue(ECIMType::kString, false, Data(std::move(text))) {}
TCIMValue::TCIMValue(std::string_view text) : TCIMValue(std::string(text)) {}
TCIMValue::TCIMValue(TSharedText text)
    : TCIMValue(ECIMType::kString, false, Data(std::move(text))) {}
TCIMValue::TCIMValue(ECIMType type, bool array, Data data) noexcept
    : data(std::move(data)), type(type), array(array) {}

TCIMValue::TCIMValue(const TCIMValue& other)
    : TCIMValue(other.type, other.array, CopyOf(other.type, other.data)) {}

// Most values are texts that others keep: their move needs no look at what else there may be.
TCIMValue::TCIMValue(TCIMValue&& other) noexcept : type(other.type), array(other.array) {
  if (const auto* borrowed = std::get_if<std::string_view>(&other.data)) {
    data.emplace<std::string_view>(*borrowed);
  } else {
    data = std::move(other.data);
  }
}

TCIMValue& TCIMValue::operator=(const TCIMValue& other) { return *this = TCIMValue(other); }

TCIMValue& TCIMValue::operator=(TCIMValue&& other) noexcept = default;
TCIMValue::~TCIMValue() = default;

TCIMValue TCIMValue::Null(ECIMType type, bool isArray) { return {type, isArray, Data()}; }
TCIMValue TCIMValue::Boolean(bool value) { return {ECIMType::kBoolean, false, Data(value)}; }
TCIMValue TCIMValue::Unsigned(ECIMType type, std::uint64_t value) {
  return {type, false, Data(value)};
}
TCIMValue TCIMValue::Signed(ECIMType type, std::int64_t value) {
  return {type, false, Data(value)};
}
TCIMValue TCIMValue::Real(ECIMType type, double value) { return {type, false, Data(value)}; }
TCIMValue TCIMValue::Text(ECIMType type, std::string text) {
  return {type, false, Data(std::move(text))};
}
TCIMValue TCIMValue::Array(ECIMType type, std::vector<TCIMValue> elements) {
  return {type, true, Data(std::move(elements))};
}
TCIMValue TCIMValue::BorrowedText(ECIMType type, std::string_view text) {
  TCIMValue value;
  value.data.emplace<std::string_view>(text);
  value.type = type;
  return value;
}
TCIMValue TCIMValue::BorrowedArray(ECIMType type, std::string_view stored) {
  TCIMValue value;
  value.data.emplace<TStoredArray>(stored);
  value.type = type;
  value.array = true;
  return value;
}

std::string TCIMValue::ToString(std::uint8_t radix) const {
  if (const auto* borrowed = std::get_if<std::string_view>(&data)) return std::string(*borrowed);
  if (const auto* text = std::get_if<std::string>(&data)) return *text;
  return std::visit(TTextOf{type, radix}, data);
}

std::optional<std::string_view> TCIMValue::TextView() const noexcept {
  if (const auto* borrowed = std::get_if<std::string_view>(&data)) return *borrowed;
  if (const auto* text = std::get_if<std::string>(&data)) return *text;
  if (const auto* shared = std::get_if<TSharedText>(&data)) return shared->View();
  return {};
}

TCIMValue::operator std::string() const { return ToString(10); }

TCIMValue::operator std::uint16_t() const {
  std::optional<std::uint64_t> number;
  if (const auto* value = std::get_if<std::uint64_t>(&data)) {
    number = *value;
  } else if (const auto* signedValue = std::get_if<std::int64_t>(&data)) {
    // A negative number becomes one that is too large.
    number = static_cast<std::uint64_t>(*signedValue);
  } else if (type == ECIMType::kString && !IsNull() && !array) {
    number = svc::NumberFromText(ECIMType::kUint16, ToString(10));
  }
  if (!number || *number > std::numeric_limits<std::uint16_t>::max()) {
    ThrowMismatch(*this, "uint16");
  }
  return static_cast<std::uint16_t>(*number);
}

TCIMValue::operator const std::vector<TCIMValue>&() const {
  if (const auto* stored = std::get_if<TStoredArray>(&data)) return stored->Elements(type);
  const auto* elements = std::get_if<std::vector<TCIMValue>>(&data);
  if (elements == nullptr) {
    ThrowMismatch(*this, "array");
  }
  return *elements;
}

void TCIMValue::AppendElements(std::string& text, char behindEach) const {
  if (const auto* stored = std::get_if<TStoredArray>(&data)) {
    return svc::AppendElements(type, stored->Stored(), text, behindEach);
  }
  for (const TCIMValue& element : static_cast<const std::vector<TCIMValue>&>(*this)) {
    text += element.ToString(10);
    text += behindEach;
  }
}

}  // namespace NQRXHSK20
