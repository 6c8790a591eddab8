// Texts in messages: those of others (names of files, answers of servers, certificates) on their
// way to a terminal, where some characters are commands, with the one rule for what may pass; and
// the words that follow from what a message is about. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace svc {

// Two of the longest paths and what is said about them have room.
inline constexpr std::size_t kLongestShownLine = 10'240;

// Neither a control character nor a mark that turns the direction of the text behind it: the rule
// of reports, which keep texts as they are otherwise.
bool MayBeShown(char32_t character) noexcept;

// The text as one line of valid UTF-8: line ends and tabs as blanks, U+FFFD in place of what may
// not be shown, of marks of direction and of ends of lines and paragraphs. Of a text that would
// take more bytes than `most` the middle is left out, for what went wrong stands at the beginning
// and what to do at the end.
std::string ShownLine(std::string_view text, std::size_t most = kLongestShownLine);

// Writes the line to standard error.
void ShowLine(std::string_view text) noexcept;

// --- Reading UTF-8 (RFC 3629) that may be broken ---

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

// What stands in XML and HTML for a character that would mark something up, in a text or an
// attribute between double quotes; empty for any other.
std::string_view MarkupReplacement(char32_t character) noexcept;

// --- Names in documents ---

// Longer than any name or number that somebody wrote on purpose.
inline constexpr std::size_t kLongestName = 200;

// The text as it is, up to so many bytes; of a longer one the whole characters within them and
// three dots: a message names what is wrong, and a document says how long its names are.
inline std::string CutName(std::string_view text) {
  if (text.size() <= kLongestName) return std::string(text);
  std::size_t size = kLongestName;
  constexpr std::size_t kLongestCharacter = 4;
  const std::size_t least = size - kLongestCharacter;
  while (size > least && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return std::string(text.substr(0, size)) + "...";
}

// --- How many there are, and which name was meant by one that is unknown ---

// "1 machine", "2 machines".
inline std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

// The one of the names that was most likely meant; empty when none is near.
std::string_view Nearest(std::string_view word, const std::vector<std::string>& names);

// So many of the names at most, those that are most like the word first.
std::vector<std::string> MostAlike(std::string_view word, std::vector<std::string> names,
                                   std::size_t most);

// "did you mean "NAME"? ", or nothing.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& names);

// --- UTF-16 ---

// Texts between this program, which has UTF-8, and Windows, which has UTF-16. What is no text of
// the one becomes U+FFFD in the other. Windows alone. Any thread.

std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view text);

// What the system says of an error or result code of its own, without a full stop; empty where it
// knows none.
std::string SystemMessage(unsigned long code);
// The same, or "error 5".
std::string SystemText(unsigned long code);

}  // namespace svc
