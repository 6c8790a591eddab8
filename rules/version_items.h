// How versions are cut out of the texts of a catalogue. The plug-in offers what is cut; the
// author's verbs show the same, and lint says where it is not what was meant.
//
// Positions wrap where marks are missing or stand in the wrong order. That is kept: records in use
// are made so (docs/odd-rules.md, docs/one-query.md). Pure functions; any thread.
#pragma once

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace svc::rules {

// Versions and machine types stand between these.
inline constexpr std::string_view kOpenMark = "-[";
inline constexpr std::string_view kCloseMark = "]-";

inline std::string Marked(std::string_view text) {
  std::string marked(kOpenMark);
  return marked.append(text).append(kCloseMark);
}

// The text between the first "-[" and the first "]-" of a catalogue version, such as QKL120A of
// "1.10-[QKL120A]-"; the text itself when a mark is missing. When the closing mark stands first,
// everything after "-[".
constexpr std::string_view BracketedVersion(std::string_view text) {
  const std::size_t open = text.find(kOpenMark);
  const std::size_t close = text.find(kCloseMark);
  if (open == text.npos || close == text.npos) return text;
  const std::size_t begin = open + kOpenMark.size();
  // Deliberate: see "Marks in the wrong order wrap" in docs/one-query.md.
  return text.substr(begin, close - begin);
}
inline std::string extractBracketedVersion(std::string_view text) {
  return std::string(BracketedVersion(text));
}

// What stands between each "-[" and the next "]-" behind it: the machine types of a text. May be
// empty where the marks enclose nothing.
inline std::vector<std::string_view> MarkedItems(std::string_view text) {
  std::vector<std::string_view> items;
  for (auto begin = text.find(kOpenMark); begin != text.npos; begin = text.find(kOpenMark, begin)) {
    begin += kOpenMark.size();
    const auto end = text.find(kCloseMark, begin);
    if (end == text.npos) break;
    items.push_back(text.substr(begin, end - begin));
  }
  return items;
}

// Each character lowered by the current locale.
// Deliberate: see "Two ways of lowering" in docs/one-query.md.
inline std::string toLowerCopy(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char character) {
    return static_cast<char>(std::tolower(character));
  });
  return text;
}

// --- Adapters, whose versions stand in a list of files ---

// What a "driverFiles" list says of a key. An entry of the list is a file name, "-#" and a
// version; entries are separated by blanks.
struct TKeyLookup {
  bool found = false;                  // The list contains the key; an empty key is always found.
  std::optional<std::string> version;  // What follows the next "-#" up to a blank, if there is one.
};

inline TKeyLookup FindVersionOfKey(std::string_view driverFiles, std::string_view key) {
  constexpr std::string_view kVersionMark = "-#";
  const std::size_t keyPosition = driverFiles.find(key);
  if (keyPosition == std::string_view::npos) return {};
  const std::size_t mark = driverFiles.find(kVersionMark, keyPosition);
  if (mark == std::string_view::npos) return {true, std::nullopt};
  const std::string_view rest = driverFiles.substr(mark + kVersionMark.size());
  return {true, std::string(rest.substr(0, rest.find(' ')))};
}

// The text before the first blank; "" when there is no blank.
// Deliberate: see "A word at the end is no word" in docs/one-query.md.
inline std::string FirstWordBeforeBlank(std::string_view text) {
  const std::size_t blank = text.find(' ');
  return blank == std::string_view::npos ? std::string() : std::string(text.substr(0, blank));
}

// The key of a MegaRAID controller's firmware in a list of driver files.
inline constexpr std::string_view kMegaRaidKey = "Controller";
// What stands before the controller's model, such as "20i", in the same list when it is lowered.
// One character between them is passed over, and the model ends at a blank.
inline constexpr std::string_view kMegaRaidFamily = "qrx arrayon ax";
// What stands before the chip's number in the lowered product of an LSI BIOS, such as "sas1064e".
inline constexpr std::string_view kChipMark = "sas";

}  // namespace svc::rules
