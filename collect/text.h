// Small rules for texts that come from firmware and from system files. Pure; any thread.
#ifndef COLLECT_TEXT_H_
#define COLLECT_TEXT_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace svc::collect {

// `bytes` as valid UTF-8 (RFC 3629) on one line: white space at both ends is cut, tabs and line
// ends within become blanks, other control characters and whatever is no character of XML 1.0
// become U+FFFD. A NUL ends the text, as it does in a firmware's fixed-length field.
std::string CleanText(std::string_view bytes);

std::string_view Trimmed(std::string_view text);
std::string_view FirstLine(std::string_view text);
// Lower case of ASCII letters only.
std::string Lowered(std::string_view text);

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The lines are parts of `text`, which must outlive them.
std::vector<std::string_view> Lines(std::string_view text);
std::vector<std::string_view> Lines(std::string&& text) = delete;
// The words of a line, which blanks and tabs part.
std::vector<std::string> Words(std::string_view line);

// The NAME=VALUE lines of a file such as os-release; a value may stand in quotes, with backslashes
// before what the shell would take otherwise (os-release(5)).
std::map<std::string, std::string> Assignments(std::string_view text);

// The text between "-[" and "]-", in which some makers put machine types and build ids; empty
// without the marks.
std::string_view Bracketed(std::string_view text);

}  // namespace svc::collect

#endif  // COLLECT_TEXT_H_
