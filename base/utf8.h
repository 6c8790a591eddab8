// Reading UTF-8 (RFC 3629) that may be broken. May be called from any thread.
#ifndef BASE_UTF8_H_
#define BASE_UTF8_H_

#include <cstddef>
#include <string_view>

namespace svc {

inline constexpr char32_t kReplacement = 0xFFFD;
inline constexpr std::string_view kReplacementText = "\xEF\xBF\xBD";

struct TCodePoint {
  char32_t value;    // kReplacement for bytes that are no character.
  std::size_t size;  // In bytes; of broken ones as many as could have begun a character.
  bool valid;
};

TCodePoint FirstCodePointBeyondAscii(std::string_view text) noexcept;

// The first character of a text that is not empty.
inline TCodePoint FirstCodePoint(std::string_view text) noexcept {
  const auto first = static_cast<unsigned char>(text.front());
  return first < 0x80 ? TCodePoint{first, 1, true} : FirstCodePointBeyondAscii(text);
}

}  // namespace svc

#endif  // BASE_UTF8_H_
