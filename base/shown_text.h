// Texts of others (names of files, answers of servers, certificates) on their way to a terminal,
// where some characters are commands: the one rule for what may pass. Any thread.
#ifndef BASE_SHOWN_TEXT_H_
#define BASE_SHOWN_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

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

// Reading UTF-8 (RFC 3629) that may be broken. May be called from any thread.

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

// Names and other texts of documents, as messages show them. A pure function; any thread.

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

}  // namespace svc

#endif  // BASE_SHOWN_TEXT_H_
