// Texts inside JSON (RFC 8259, section 7). Pure functions.
#ifndef RUNTIME_HSKCORE_JSON_TEXT_H_
#define RUNTIME_HSKCORE_JSON_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "host/hskcore/export.h"
#include "runtime/hskcore/hash.h"

namespace svc {

// No byte of a text takes more in JSON.
inline constexpr std::size_t kLongestJsonByte = 6;

// Not 0 where one of the eight bytes is no ASCII that JSON takes as it is.
constexpr std::uint64_t OddBytes(std::uint64_t word) noexcept {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr auto hasZero = [](std::uint64_t bytes) { return (bytes - kEach) & ~bytes; };
  const std::uint64_t control = (word - 0x20 * kEach) & ~word;
  const std::uint64_t quote = hasZero(word ^ ('"' * kEach));
  const std::uint64_t backslash = hasZero(word ^ ('\\' * kEach));
  return (word | control | quote | backslash) & (0x80 * kEach);
}

// Copies a text of at least eight bytes and tells whether JSON takes it as it is. The last word
// overlaps the one before.
inline bool CopyPlain(char* target, std::string_view text) noexcept {
  const auto copyWord = [&](std::size_t at) {
    const std::uint64_t word = LoadWord(text.data() + at);
    std::memcpy(target + at, &word, sizeof word);
    return OddBytes(word);
  };
  const std::size_t last = text.size() - sizeof(std::uint64_t);
  std::uint64_t odd = copyWord(last);
  for (std::size_t at = 0; at < last; at += sizeof(std::uint64_t)) odd |= copyWord(at);
  return odd == 0;
}

HSKCORE_API char* WriteAnyJsonText(char* target, std::string_view text) noexcept;

// Writes the text as it stands between quotes and returns the end of what was written. Bytes that
// are no UTF-8 become U+FFFD, one for each piece that could have begun a character.
// REQUIRES: room for kLongestJsonByte bytes for each byte of the text.
inline char* WriteJsonText(char* target, std::string_view text) noexcept {
  // Most texts are plain. A long one is not worth the risk of a second pass.
  constexpr std::size_t kLongestTried = 128;
  if (text.size() >= sizeof(std::uint64_t) && text.size() <= kLongestTried &&
      CopyPlain(target, text)) {
    return target + text.size();
  }
  return WriteAnyJsonText(target, text);
}

}  // namespace svc

#endif  // RUNTIME_HSKCORE_JSON_TEXT_H_
