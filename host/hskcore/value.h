// Values of CIM properties (DMTF DSP0004, section 5.2: data types).
#ifndef HOST_HSKCORE_VALUE_H_
#define HOST_HSKCORE_VALUE_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/hskcore/export.h"
#include "host/hskcore/shared_text.h"

namespace NQRXHSK20 {

enum class ECIMType : std::uint8_t {
  kString,
  kBoolean,
  kChar16,
  kUint8,
  kUint16,
  kUint32,
  kUint64,
  kSint8,
  kSint16,
  kSint32,
  kSint64,
  kReal32,
  kReal64,
  kDateTime,
  kReference
};

// One value: null, a scalar or an array of scalars, of one CIM type. A value type: a copy shares
// nothing with its source but the bytes of a shared text. Not synchronised; a const value may be
// read from several threads.
class HSKCORE_API TCIMValue {
 public:
  // A null string.
  TCIMValue();
  TCIMValue(const char* text);       // NOLINT(google-explicit-constructor): a text is a value
  TCIMValue(std::string text);       // NOLINT(google-explicit-constructor)
  TCIMValue(std::string_view text);  // NOLINT(google-explicit-constructor)
  TCIMValue(TSharedText text);       // NOLINT(google-explicit-constructor)
  TCIMValue(const TCIMValue& other);
  TCIMValue(TCIMValue&& other) noexcept;
  TCIMValue& operator=(const TCIMValue& other);
  TCIMValue& operator=(TCIMValue&& other) noexcept;
  ~TCIMValue();

  static TCIMValue Null(ECIMType type, bool isArray = false);
  static TCIMValue Boolean(bool value);
  static TCIMValue Unsigned(ECIMType type, std::uint64_t value);
  static TCIMValue Signed(ECIMType type, std::int64_t value);
  static TCIMValue Real(ECIMType type, double value);
  // A text of type string, char16, datetime or reference; UTF-8.
  static TCIMValue Text(ECIMType type, std::string text);
  static TCIMValue Array(ECIMType type, std::vector<TCIMValue> elements);
  // As Text, without copying: the bytes must outlive this value. A copy of it owns its bytes.
  static TCIMValue BorrowedText(ECIMType type, std::string_view text);
  // As Array, of elements as the host stores them, whose bytes must outlive this value: they are
  // made when somebody asks for them. A copy of it owns its elements.
  static TCIMValue BorrowedArray(ECIMType type, std::string_view stored);

  ECIMType Type() const noexcept { return type; }
  bool IsNull() const noexcept { return std::holds_alternative<std::monostate>(data); }
  bool IsArray() const noexcept { return array; }

  // The value as text: string and datetime as they are, integers in `radix` (2 to 36), boolean
  // "TRUE" or "FALSE", reals in the shortest form that reads back the same, null "", an array
  // "{ a, b }".
  std::string ToString(std::uint8_t radix) const;

  // The value as it is, where it is a text and no array, not null; valid until the value changes.
  std::optional<std::string_view> TextView() const noexcept;
  // The text that it shares; null where it shares none.
  const TSharedText* SharedText() const noexcept { return std::get_if<TSharedText>(&data); }

  // ToString(10).
  explicit operator std::string() const;
  // The value of an integer, or of a numeric text, that fits.
  // Throws THSKException (kTypeMismatch) on anything else, null included.
  explicit operator std::uint16_t() const;
  // The elements of an array that is not null; valid until the value changes.
  // Throws THSKException (kTypeMismatch) on anything else.
  explicit operator const std::vector<TCIMValue>&() const;
  // Adds the ToString(10) of each of these elements to `text`, and a character behind each; makes
  // none of them. Throws the same.
  void AppendElements(std::string& text, char behindEach) const;

 private:
  class TStoredArray {
   public:
    explicit TStoredArray(std::string_view stored) noexcept : stored(stored) {}
    TStoredArray(TStoredArray&& other) noexcept
        : stored(other.stored), made(other.made.exchange(nullptr)) {}
    TStoredArray& operator=(TStoredArray&& other) noexcept {
      stored = other.stored;
      delete made.exchange(other.made.exchange(nullptr));
      return *this;
    }
    ~TStoredArray() { delete made.load(); }

    std::string_view Stored() const noexcept { return stored; }
    const std::vector<TCIMValue>& Elements(ECIMType type) const;

   private:
    std::string_view stored;
    // Null until they are asked for, which several threads may do at once.
    mutable std::atomic<const std::vector<TCIMValue>*> made{nullptr};
  };
  using Data = std::variant<std::monostate, bool, std::uint64_t, std::int64_t, double, std::string,
                            std::string_view, TSharedText, std::vector<TCIMValue>, TStoredArray>;
  struct TTextOf;
  static Data CopyOf(ECIMType type, const Data& data);
  TCIMValue(ECIMType type, bool array, Data data) noexcept;

  Data data;
  ECIMType type;
  bool array;
};

// Named values that accompany a host call.
using CIMContext = std::map<std::string, TCIMValue>;

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_VALUE_H_
