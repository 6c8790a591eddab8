// Reading UTF-8 (RFC 3629) that may be broken. May be called from any thread.
#ifndef REPORT_UTF8_H_
#define REPORT_UTF8_H_

#include <cstddef>
#include <string_view>

namespace svc::report {

inline constexpr char32_t kReplacement = 0xFFFD;
inline constexpr std::string_view kReplacementText = "\xEF\xBF\xBD";

struct TCodePoint {
  char32_t value;    // kReplacement for bytes that are no character.
  std::size_t size;  // In bytes; of broken ones as many as could have begun a character.
  bool valid;
};

// The first character of a text that is not empty.
TCodePoint FirstCodePoint(std::string_view text) noexcept;

}  // namespace svc::report

#endif  // REPORT_UTF8_H_
