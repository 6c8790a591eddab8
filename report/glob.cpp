#include "report/glob.h"

#include <cstddef>

#include "base/utf8.h"
#include "report/ascii.h"

namespace svc::report {

namespace {

std::size_t SizeOfFirst(std::string_view text) noexcept { return FirstCodePoint(text).size; }

}  // namespace

bool MatchesGlob(std::string_view pattern, std::string_view text) noexcept {
  // Behind the last "*": what has to go by the text from `resumed` on. Only the last one is ever
  // tried again, since an earlier one could not match more than it.
  std::string_view behindStar;
  std::string_view resumed;
  bool hasStar = false;
  while (!text.empty()) {
    if (!pattern.empty() && pattern.front() == '*') {
      pattern.remove_prefix(1);
      behindStar = pattern;
      resumed = text;
      hasStar = true;
    } else if (!pattern.empty() && pattern.front() == '?') {
      pattern.remove_prefix(1);
      text.remove_prefix(SizeOfFirst(text));
    } else if (!pattern.empty() && ToLower(pattern.front()) == ToLower(text.front())) {
      pattern.remove_prefix(1);
      text.remove_prefix(1);
    } else if (hasStar) {
      resumed.remove_prefix(SizeOfFirst(resumed));
      pattern = behindStar;
      text = resumed;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*') == std::string_view::npos;
}

}  // namespace svc::report
