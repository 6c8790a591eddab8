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

}  // namespace svc

#endif  // BASE_SHOWN_TEXT_H_
