// Names and other texts of documents, as messages show them. A pure function; any thread.
#ifndef BASE_CUT_NAME_H_
#define BASE_CUT_NAME_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace svc {

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

#endif  // BASE_CUT_NAME_H_
