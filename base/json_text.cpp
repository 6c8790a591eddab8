#include "base/json_text.h"

#include <algorithm>
#include <cstring>

namespace svc {

namespace {

constexpr unsigned char kDelete = 0x7f;

bool IsPlain(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < kDelete && byte != '"' && byte != '\\';
}

char* Write(char* target, std::string_view text) {
  text.copy(target, text.size());
  return target + text.size();
}

char* WriteEscape(char* target, unsigned value) {
  constexpr std::string_view kHex = "0123456789abcdef";
  target = Write(target, "\\u");
  for (const int shift : {12, 8, 4, 0}) *target++ = kHex[value >> shift & 0xf];
  return target;
}

char* WriteAscii(char* target, char c) {
  constexpr std::string_view kShort = "\"\\\b\f\n\r\t";
  constexpr std::string_view kLetters = "\"\\bfnrt";
  const std::size_t at = kShort.find(c);
  if (at != kShort.npos) {
    *target++ = '\\';
    *target++ = kLetters[at];
    return target;
  }
  if (IsPlain(c)) {
    *target++ = c;
    return target;
  }
  return WriteEscape(target, static_cast<unsigned char>(c));
}

struct TSequence {
  std::size_t length;
  bool isValid;
};

// The well-formed lead bytes, how many bytes follow, and what the first of those may be (Unicode,
// table 3-7).
struct TLead {
  unsigned char first;
  unsigned char last;
  unsigned char following;
  unsigned char secondFirst;
  unsigned char secondLast;
};
constexpr TLead kLeads[] = {{0xc2, 0xdf, 1, 0x80, 0xbf}, {0xe0, 0xe0, 2, 0xa0, 0xbf},
                            {0xe1, 0xec, 2, 0x80, 0xbf}, {0xed, 0xed, 2, 0x80, 0x9f},
                            {0xee, 0xef, 2, 0x80, 0xbf}, {0xf0, 0xf0, 3, 0x90, 0xbf},
                            {0xf1, 0xf3, 3, 0x80, 0xbf}, {0xf4, 0xf4, 3, 0x80, 0x8f}};

// The character that begins with a byte above 0x7f, or as much of it as there is.
TSequence SequenceAt(std::string_view text) {
  const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const auto* lead = std::find_if(std::begin(kLeads), std::end(kLeads), [&](const TLead& row) {
    return byteAt(0) >= row.first && byteAt(0) <= row.last;
  });
  if (lead == std::end(kLeads) || text.size() < 2 || byteAt(1) < lead->secondFirst ||
      byteAt(1) > lead->secondLast) {
    return {1, false};
  }
  std::size_t length = 2;
  while (length <= lead->following && length < text.size() && (byteAt(length) & 0xc0) == 0x80) {
    ++length;
  }
  return {length, length == lead->following + std::size_t{1}};
}

// Control characters of two bytes, U+0080 to U+009F, and marks that turn the direction of what
// stands behind them, U+202A to U+202E and U+2066 to U+2069.
bool IsEscaped(std::string_view sequence) {
  const auto last = static_cast<unsigned char>(sequence.back());
  if (sequence.size() == 2) return sequence[0] == '\xc2' && last < 0xa0;
  return (sequence.starts_with("\xe2\x80") && last >= 0xaa && last <= 0xae) ||
         (sequence.starts_with("\xe2\x81") && last >= 0xa6 && last <= 0xa9);
}

// Of a well-formed character of two or three bytes.
unsigned CodePointOf(std::string_view sequence) {
  unsigned value = static_cast<unsigned char>(sequence[0]) & (sequence.size() == 2 ? 0x1f : 0xf);
  for (const char c : sequence.substr(1)) {
    value = value << 6 | (static_cast<unsigned char>(c) & 0x3f);
  }
  return value;
}

char* WriteSequence(char* target, std::string_view sequence) {
  return IsEscaped(sequence) ? WriteEscape(target, CodePointOf(sequence)) : Write(target, sequence);
}

}  // namespace

char* WriteAnyJsonText(char* target, std::string_view text) noexcept {
  while (!text.empty()) {
    std::uint64_t word = ~std::uint64_t{0};  // Odd, as a text of fewer bytes is taken.
    if (text.size() >= sizeof word) std::memcpy(&word, text.data(), sizeof word);
    if (OddBytes(word) == 0) {
      std::memcpy(target, &word, sizeof word);
      target += sizeof word;
      text.remove_prefix(sizeof word);
    } else if (IsPlain(text[0])) {
      *target++ = text[0];
      text.remove_prefix(1);
    } else if (static_cast<unsigned char>(text[0]) < 0x80) {
      target = WriteAscii(target, text[0]);
      text.remove_prefix(1);
    } else {
      const TSequence sequence = SequenceAt(text);
      target = sequence.isValid ? WriteSequence(target, text.substr(0, sequence.length))
                                : Write(target, "\xef\xbf\xbd");
      text.remove_prefix(sequence.length);
    }
  }
  return target;
}

}  // namespace svc
