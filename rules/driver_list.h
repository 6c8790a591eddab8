// How a list of driver files is cut: entries of a name, "-#" and a version, separated by one blank;
// and the form in which drivers' names are compared. CutDriverList is pure: any thread.
#pragma once

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "rules/folded_text.h"

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
// upper case, cut before the first ".". What upper case is says the C library's locale, or another
// such function, which is asked once. Used by one thread.
class TDriverNameForm {
 public:
  explicit TDriverNameForm(int (*capitalOf)(int) = std::toupper) {
    int character = 0;
    for (char& upper : upperCase) {
      upper = static_cast<char>(capitalOf(character));
      isOfAscii = isOfAscii && Folded(upper) == Folded(static_cast<char>(character));
      ++character;
    }
  }

  // The same number for all names that Of brings to one form. `seed` keeps whoever writes names
  // from choosing which of them meet.
  std::uint64_t HashOf(std::string_view name, std::uint64_t seed) const noexcept {
    name = name.substr(0, name.find('.'));
    std::uint64_t hash = seed ^ name.size();
    // Eight characters at once: each step waits for the one before it.
    for (; name.size() > sizeof hash; name.remove_prefix(sizeof hash)) {
      hash = Mixed(hash ^ Word(name.data(), sizeof hash));
    }
    return Mixed(Mixed(hash ^ Word(name.data(), name.size())));
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
  // Up to eight characters, the same for all that upper case makes the same.
  std::uint64_t Word(const char* characters, std::size_t count) const noexcept {
    std::uint64_t word = 0;
    if (isOfAscii && count != 0) {
      std::memcpy(&word, characters, count);
      return Folded(word);
    }
    for (std::size_t i = 0; i < count; ++i) {
      const char upper = upperCase[static_cast<unsigned char>(characters[i])];
      word = word << 8 | static_cast<unsigned char>(upper);
    }
    return word;
  }
  static constexpr std::uint64_t Mixed(std::uint64_t hash) noexcept {
    hash *= 0x9e3779b97f4a7c15;
    return hash ^ hash >> 29;
  }

  std::array<char, 256> upperCase;
  bool isOfAscii = true;  // Whether no letters but A to Z have two cases.
  std::string normalised;
};

}  // namespace svc::rules
