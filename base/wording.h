// Words of messages that follow from what they are about: how many there are, and which name
// somebody most likely meant who wrote another one. Pure functions; any thread.
#ifndef BASE_WORDING_H_
#define BASE_WORDING_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace svc {

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

}  // namespace svc

#endif  // BASE_WORDING_H_
