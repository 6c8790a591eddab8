#include "runtime/xmlparser/byte_scan.h"

#include <algorithm>

namespace svc::xml {

// So few bytes at a time that a byte counts them: the compiler then takes a vector of such counts.
std::size_t CountLineEnds(const char* at, const char* end) {
  if (at == end) return 0;
  constexpr std::ptrdiff_t kAtATime = 240;
  const char* const last = end - 1;
  std::size_t count = *last == '\n' || *last == '\r' ? 1 : 0;
  while (at != last) {
    const char* const stop = at + std::min(last - at, kAtATime);
    std::uint8_t few = 0;
    for (; at != stop; ++at) {
      const int isLone = static_cast<int>(at[0] == '\r') & static_cast<int>(at[1] != '\n');
      few = static_cast<std::uint8_t>(few + static_cast<int>(at[0] == '\n') + isLone);
    }
    count += few;
  }
  return count;
}

}  // namespace svc::xml
