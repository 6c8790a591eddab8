// Character classes of ASCII, whatever the locale. Bytes of other characters count as letters: they
// are part of a word, never of a number. May be called from any thread.
#ifndef REPORT_ASCII_H_
#define REPORT_ASCII_H_

#include <string_view>

namespace svc::report {

constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr char ToLower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
constexpr bool IsLetter(char c) noexcept {
  return (ToLower(c) >= 'a' && ToLower(c) <= 'z') || static_cast<unsigned char>(c) >= 0x80;
}
constexpr bool IsAlphanumeric(char c) noexcept { return IsDigit(c) || IsLetter(c); }
constexpr bool IsHexDigit(char c) noexcept {
  return IsDigit(c) || (ToLower(c) >= 'a' && ToLower(c) <= 'f');
}
constexpr bool IsBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

constexpr std::string_view Trim(std::string_view text) noexcept {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace svc::report

#endif  // REPORT_ASCII_H_
