// Text rules that the firmware branches share. Pure functions; any thread.
#ifndef FIRMWARE_VERSION_ITEMS_H_
#define FIRMWARE_VERSION_ITEMS_H_

#include <optional>
#include <string>
#include <string_view>

// The text between the first "-[" and the first "]-" of a catalogue version, such as QKL120A of
// "1.10-[QKL120A]-"; the text itself when a mark is missing. When the closing mark stands first,
// everything after "-[".
std::string extractBracketedVersion(const std::string& text);

// Each character lowered by the current locale.
std::string toLowerCopy(std::string text);

// What a "driverFiles" list says of a key. An entry of the list is a file name, "-#" and a
// version; entries are separated by blanks.
struct TKeyLookup {
  bool found = false;                  // The list contains the key; an empty key is always found.
  std::optional<std::string> version;  // What follows the next "-#" up to a blank, if there is one.
};
TKeyLookup FindVersionOfKey(std::string_view driverFiles, std::string_view key);

// The text before the first blank; "" when there is no blank.
std::string FirstWordBeforeBlank(std::string_view text);

#endif  // FIRMWARE_VERSION_ITEMS_H_
