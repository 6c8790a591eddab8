// Texts of records, which may hold any bytes, in the notations of the report formats. Pure
// functions; may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace svc::report {

// The text with U+FFFD in place of bytes that are no UTF-8, one for each piece that could have
// begun a character.
std::string ValidUtf8(std::string_view text);
// As ValidUtf8, and with U+FFFD in place of what may not be shown (base/shown_text.h):
// safe on a terminal, one line.
std::string PlainLine(std::string_view text);
// The same, but tabs and line ends stay.
std::string PlainText(std::string_view text);
// Columns that a UTF-8 text takes on a terminal: East Asian wide characters take two, combining
// ones none.
std::size_t DisplayWidth(std::string_view text) noexcept;
// The longest start of a UTF-8 text that takes at most `columns`, ending in "…" when it is cut.
std::string CutToWidth(std::string_view text, std::size_t columns);

// For XML and HTML text and attribute values; characters that XML does not have show as U+FFFD.
std::string XmlText(std::string_view text);
// PlainLine of a text as XmlText: for a page.
std::string PageText(std::string_view text);

enum class ECsvTexts {
  kSafe,  // What a spreadsheet would take for a formula has an apostrophe before it.
  kRaw    // For programs: without.
};
// A field of RFC 4180 with PlainText, quoted where it must be.
std::string CsvField(std::string_view text, ECsvTexts texts);

// "2027-06-30T00:00:00Z" from seconds since 1970; the nearest time of the years 0 to 9999.
std::string UtcTime(std::int64_t seconds);
// Seconds since 1970 of "2027-06-30T00:00:00Z"; none when the text is no such time.
std::optional<std::int64_t> SecondsOfUtcTime(std::string_view text) noexcept;
// "3 days", for a person.
std::string Age(std::int64_t seconds);

// Character classes of ASCII, whatever the locale. Bytes of other characters count as letters: they
// are part of a word, never of a number. May be called from any thread.

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
// Whether the part stands in the text, by ASCII letters of either case.
bool ContainsAnyCase(std::string_view text, std::string_view part) noexcept;
constexpr bool IsBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// How many characters a text begins with of which this holds, and whether it holds of all. What is
// asked is a parameter of the template, so that it is asked in place: versions are compared by the
// million, and a call for each of their characters took a fifth of that.
template <auto holds>
constexpr std::size_t CountWhile(std::string_view text) noexcept {
  std::size_t count = 0;
  while (count < text.size() && holds(text[count])) ++count;
  return count;
}
template <auto holds>
constexpr bool All(std::string_view text) noexcept {
  return CountWhile<holds>(text) == text.size();
}

constexpr std::string_view Trim(std::string_view text) noexcept {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace svc::report
