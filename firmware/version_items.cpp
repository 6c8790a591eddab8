#include "firmware/version_items.h"

#include <algorithm>
#include <cctype>

std::string extractBracketedVersion(const std::string& text) {
  const std::size_t open = text.find("-[");
  const std::size_t close = text.find("]-");
  if (open == std::string::npos || close == std::string::npos) return text;
  // Unsigned on purpose: with the marks in the wrong order the length wraps to "all the rest".
  return text.substr(open + 2, close - open - 2);
}

std::string toLowerCopy(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char character) {
    return static_cast<char>(std::tolower(character));
  });
  return text;
}

TKeyLookup FindVersionOfKey(std::string_view driverFiles, std::string_view key) {
  const std::size_t keyPosition = driverFiles.find(key);
  if (keyPosition == std::string_view::npos) return {};
  const std::size_t mark = driverFiles.find("-#", keyPosition);
  if (mark == std::string_view::npos) return {true, std::nullopt};
  const std::string_view rest = driverFiles.substr(mark + 2);
  return {true, std::string(rest.substr(0, rest.find(' ')))};
}

std::string FirstWordBeforeBlank(std::string_view text) {
  const std::size_t blank = text.find(' ');
  return blank == std::string_view::npos ? std::string() : std::string(text.substr(0, blank));
}
