// How a list of driver files is cut: entries of a name, "-#" and a version, separated by one blank;
// and the form in which drivers' names are compared. CutDriverList is pure: any thread.
#pragma once

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace svc::rules {

// Views of the list. An entry without a name or without a version offers nothing.
struct TDriverListEntry {
  std::string_view name;
  std::string_view version;

  constexpr bool IsOffered() const noexcept { return !name.empty() && !version.empty(); }
};

// Hands each entry of the list to `take`, in order, those that offer nothing too; in time in
// proportion to the list.
//
// The last version of a list is the whole rest, with its blanks. Any other ends at a blank; where
// that is missing nothing is cut: the version runs on to the end of the list, and stands in front
// of the next name as well.
// Deliberate: see "A missing blank cuts nothing" in docs/one-query.md.
template <typename TTake>
constexpr void CutDriverList(std::string_view list, TTake&& take) {
  constexpr std::string_view kMark = "-#";
  std::size_t begin = 0;
  // Found once: every search begins where the one before it ended. A blank that is missing once is
  // missing for the rest of the list.
  std::size_t blank = 0;
  std::size_t mark = list.find(kMark);
  while (mark != std::string_view::npos) {
    const std::string_view name = list.substr(begin, mark - begin);
    begin = mark + kMark.size();
    const std::size_t next = list.find(kMark, begin);
    if (next == std::string_view::npos) {
      take(TDriverListEntry{name, list.substr(begin)});
      return;
    }
    if (blank != std::string_view::npos && blank < begin) blank = list.find(' ', begin);
    const std::string_view rest = list.substr(begin);
    if (blank == std::string_view::npos) {
      take(TDriverListEntry{name, rest});
      mark = next;
    } else {
      take(TDriverListEntry{name, rest.substr(0, blank - begin)});
      begin = blank + 1;
      mark = next >= begin ? next : list.find(kMark, begin);
    }
  }
}

// Brings drivers' names into the form in which they are compared, and in which records name them:
// upper case, cut before the first ".". What upper case is says the C library's locale, which is
// asked once. Used by one thread.
class TDriverNameForm {
 public:
  TDriverNameForm() {
    for (std::size_t i = 0; i < upperCase.size(); ++i) {
      upperCase[i] = static_cast<char>(std::toupper(static_cast<int>(i)));
    }
  }

  // The same number for all names that Of brings to one form. `seed` keeps whoever writes names
  // from choosing which of them meet.
  std::uint64_t HashOf(std::string_view name, std::uint64_t seed) const noexcept {
    std::uint64_t hash = seed;
    for (const char character : name) {
      if (character == '.') break;
      hash = (hash ^ static_cast<unsigned char>(upperCase[static_cast<unsigned char>(character)])) *
             kMultiplier;
      hash ^= hash >> 29;
    }
    return hash ^ hash >> 32;
  }

  // Valid until the next call.
  std::string_view Of(std::string_view name) {
    normalised = name.substr(0, name.find('.'));
    for (char& character : normalised) {
      character = upperCase[static_cast<unsigned char>(character)];
    }
    return normalised;
  }

 private:
  static constexpr std::uint64_t kMultiplier = 0x9e3779b97f4a7c15;

  std::array<char, 256> upperCase;
  std::string normalised;
};

}  // namespace svc::rules
