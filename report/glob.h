// Patterns of names as people write them in a shell. May be called from any thread.
#ifndef REPORT_GLOB_H_
#define REPORT_GLOB_H_

#include <cstddef>
#include <string_view>

namespace svc::report {

// In bytes, of a pattern that somebody else wrote: see below.
inline constexpr std::size_t kLongestPattern = 1000;

// Whether the whole text goes by a pattern: "*" stands for any characters or none, "?" for one
// character, everything else for itself without regard to ASCII case. Takes at most
// pattern × text steps, whatever they hold.
bool MatchesGlob(std::string_view pattern, std::string_view text) noexcept;

}  // namespace svc::report

#endif  // REPORT_GLOB_H_
