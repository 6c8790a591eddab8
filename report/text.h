// Texts of records, which may hold any bytes, in the notations of the report formats. Pure
// functions; may be called from any thread.
#ifndef REPORT_TEXT_H_
#define REPORT_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace svc::report {

// The text with U+FFFD in place of bytes that are no UTF-8, one for each piece that could have
// begun a character.
std::string ValidUtf8(std::string_view text);
// As ValidUtf8, and with U+FFFD in place of control characters: safe to show on a terminal, one
// line.
std::string PlainLine(std::string_view text);
// Columns that a UTF-8 text takes on a terminal: East Asian wide characters take two, combining
// ones none.
std::size_t DisplayWidth(std::string_view text) noexcept;
// The longest start of a UTF-8 text that takes at most `columns`, ending in "…" when it is cut.
std::string CutToWidth(std::string_view text, std::size_t columns);

// A JSON string with its quotes.
std::string JsonString(std::string_view text);
void AppendJsonString(std::string& target, std::string_view text);
// For XML and HTML text and attribute values; characters that XML does not have show as U+FFFD.
std::string XmlText(std::string_view text);
// A field of RFC 4180, quoted where it must be.
std::string CsvField(std::string_view text);

// "2027-06-30T00:00:00Z" from seconds since 1970.
std::string UtcTime(std::int64_t seconds);
// Seconds since 1970 of "2027-06-30T00:00:00Z"; -1 when the text is none.
std::int64_t SecondsOfUtcTime(std::string_view text) noexcept;
// "3 days", for a person.
std::string Age(std::int64_t seconds);

}  // namespace svc::report

#endif  // REPORT_TEXT_H_
