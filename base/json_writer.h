// Writes JSON (RFC 8259) piece by piece: each is appended to a text of the caller's, who may empty
// that text between two pieces, so that a long document takes no memory in proportion. The writer
// keeps nothing but how deep it is. Used by one thread.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace svc {

// How the items of an object or a list stand: what is written between a name and its value, before
// the first item, before each further one, behind the last one, and where there is none.
struct TJsonLayout {
  std::string_view colon = ":";
  std::string_view first = "";
  std::string_view next = ",";
  std::string_view last = "";
  std::string_view none = "";
};
inline constexpr TJsonLayout kJsonTight;
inline constexpr TJsonLayout kJsonSpaced = {": ", "", ", ", "", ""};
// A document for programs that a person looks at as well: one member a line, and the rows of its
// lists one a line each.
inline constexpr TJsonLayout kJsonDocument = {": ", "\n  ", ",\n  ", "\n", ""};
inline constexpr TJsonLayout kJsonRows = {":", "\n    ", ",\n    ", "\n  ", ""};
// The rows of a list in an object that is tight.
inline constexpr TJsonLayout kJsonLines = {":", "\n", ",\n", "\n", "\n"};

class TJsonWriter {
 public:
  // Borrows the text.
  explicit TJsonWriter(std::string& text) : text(text) {}

  // The name of the next value, in an object. What needs escapes is an AnyName.
  TJsonWriter& Name(std::string_view name);
  TJsonWriter& AnyName(std::string_view name);

  // The next value.
  TJsonWriter& Object(const TJsonLayout& layout = kJsonTight) { return Open('{', '}', layout); }
  TJsonWriter& List(const TJsonLayout& layout = kJsonTight) { return Open('[', ']', layout); }
  TJsonWriter& Text(std::string_view value);
  TJsonWriter& Number(std::uint64_t value);
  TJsonWriter& Null() { return Written("null"); }
  // As it stands, such as "true" or a number with a fraction.
  TJsonWriter& Written(std::string_view json);
  // The end of the innermost object or list.
  TJsonWriter& End();

  // The same with their names.
  TJsonWriter& Object(std::string_view name, const TJsonLayout& layout = kJsonTight) {
    return Name(name).Object(layout);
  }
  TJsonWriter& List(std::string_view name, const TJsonLayout& layout = kJsonTight) {
    return Name(name).List(layout);
  }
  TJsonWriter& Text(std::string_view name, std::string_view value) {
    return Name(name).Text(value);
  }
  TJsonWriter& TextIfAny(std::string_view name, std::string_view value) {
    return value.empty() ? *this : Text(name, value);
  }
  TJsonWriter& TextOrNull(std::string_view name, std::string_view value) {
    return value.empty() ? Name(name).Null() : Text(name, value);
  }
  TJsonWriter& Number(std::string_view name, std::uint64_t value) {
    return Name(name).Number(value);
  }
  TJsonWriter& Texts(std::string_view name, const std::vector<std::string>& values,
                     const TJsonLayout& layout = kJsonTight);

 private:
  struct TLevel {
    const TJsonLayout* layout;
    char end;
    bool hasItems;
  };

  TJsonWriter& Open(char begin, char end, const TJsonLayout& layout);
  void BeginItem();
  void BeginValue();
  void AppendText(std::string_view value);

  std::string& text;
  bool isNamed = false;
  std::size_t depth = 0;
  std::array<TLevel, 12> levels{};  // Documents are not deeper.
};

// --- Texts inside JSON (RFC 8259, section 7). Pure functions; any thread ---

// Beyond what JSON demands, control characters of one and of two bytes (DEL, U+0080 to U+009F) and
// marks that turn the direction of what stands behind them are escaped: whoever shows the file on a
// terminal sees the text, and a parser reads the same characters.

// No byte of a text takes more in JSON.
inline constexpr std::size_t kLongestJsonByte = 6;

// Not 0 where one of the eight bytes is no ASCII that is written as it is. DEL is found by adding
// 1, which sets its highest bit; a carry reaches only what stands behind a byte that is odd
// already.
constexpr std::uint64_t OddBytes(std::uint64_t word) noexcept {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr auto hasZero = [](std::uint64_t bytes) { return (bytes - kEach) & ~bytes; };
  const std::uint64_t control = (word - 0x20 * kEach) & ~word;
  const std::uint64_t quote = hasZero(word ^ ('"' * kEach));
  const std::uint64_t backslash = hasZero(word ^ ('\\' * kEach));
  return (word | (word + kEach) | control | quote | backslash) & (0x80 * kEach);
}

// Sixteen bytes at a time, in a vector where the processor has such. As signed numbers, so that all
// that is no ASCII is below the first character that is written as it is.
using TSixteenBytes [[gnu::vector_size(16)]] = signed char;

constexpr TSixteenBytes SixteenTimes(char c) noexcept {
  const auto b = static_cast<signed char>(c);
  return TSixteenBytes{b, b, b, b, b, b, b, b, b, b, b, b, b, b, b, b};
}

// All bits set for each byte that is not written as it is. 1 more makes DEL the least number.
inline TSixteenBytes OddBytes(TSixteenBytes bytes) noexcept {
  using TUnsigned [[gnu::vector_size(16)]] = unsigned char;
  const auto next = reinterpret_cast<TSixteenBytes>(reinterpret_cast<TUnsigned>(bytes) + 1);
  return (next < SixteenTimes('!')) | (bytes == SixteenTimes('"')) | (bytes == SixteenTimes('\\'));
}

// How many of them come before the first odd one, as they stand in memory.
inline std::size_t PlainBytes(TSixteenBytes bytes) noexcept {
  using TTwoWords [[gnu::vector_size(16)]] = std::uint64_t;
  const auto odd = reinterpret_cast<TTwoWords>(OddBytes(bytes));
  constexpr std::size_t kHalf = sizeof(std::uint64_t);
  const auto first = [](std::uint64_t word) {
    const bool isFirstLowest = std::endian::native == std::endian::little;
    const int bits = isFirstLowest ? std::countr_zero(word) : std::countl_zero(word);
    return static_cast<std::size_t>(bits) / 8;
  };
  return odd[0] != 0 ? first(odd[0]) : kHalf + first(odd[1]);
}

inline std::uint64_t AnyOf(std::uint64_t odd) noexcept { return odd; }
inline std::uint64_t AnyOf(TSixteenBytes odd) noexcept {
  using TTwoWords [[gnu::vector_size(16)]] = std::uint64_t;
  const auto words = reinterpret_cast<TTwoWords>(odd);
  return words[0] | words[1];
}

// Copies a text of at least a block and tells whether JSON takes it as it is. The last block
// overlaps the one before.
template <typename TBlock>
[[gnu::always_inline]] inline bool CopyPlain(char* target, std::string_view text) noexcept {
  TBlock odd{};
  const auto copyBlock = [&](std::size_t at) {
    TBlock block;
    std::memcpy(&block, text.data() + at, sizeof block);
    std::memcpy(target + at, &block, sizeof block);
    odd |= OddBytes(block);
  };
  const std::size_t last = text.size() - sizeof(TBlock);
  for (std::size_t at = 0; at < last; at += sizeof(TBlock)) copyBlock(at);
  copyBlock(last);
  return AnyOf(odd) == 0;
}

// What WriteJsonText does with a text that may need escapes.
char* WriteAnyJsonText(char* target, std::string_view text) noexcept;

// Writes the text as it stands between quotes and returns the end of what was written. Bytes that
// are no UTF-8 become U+FFFD, one for each piece that could have begun a character.
// REQUIRES: room for kLongestJsonByte bytes for each byte of the text.
inline char* WriteJsonText(char* target, std::string_view text) noexcept {
  // Most texts are plain. A long one is not worth the risk of a second pass.
  constexpr std::size_t kLongestTried = 128;
  if (text.size() < sizeof(std::uint64_t) || text.size() > kLongestTried) {
    return WriteAnyJsonText(target, text);
  }
  const bool isPlain = text.size() < sizeof(TSixteenBytes) ? CopyPlain<std::uint64_t>(target, text)
                                                           : CopyPlain<TSixteenBytes>(target, text);
  return isPlain ? target + text.size() : WriteAnyJsonText(target, text);
}

}  // namespace svc
