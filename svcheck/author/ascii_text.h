// Comparing texts as a query does: only the letters A to Z are alike in both cases. Pure functions;
// may be called from any thread.
#ifndef SVCHECK_AUTHOR_ASCII_TEXT_H_
#define SVCHECK_AUTHOR_ASCII_TEXT_H_

#include <algorithm>
#include <string>
#include <string_view>

#include "report/ascii.h"
#include "rules/folded_text.h"

namespace svc::catalogue {

inline std::string Lowered(std::string_view text) {
  std::string lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), report::ToLower);
  return lowered;
}

inline std::string Raised(std::string_view text) {
  std::string raised(text);
  for (char& c : raised) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
  }
  return raised;
}

inline bool EqualWords(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(),
                    [](char a, char b) { return report::ToLower(a) == report::ToLower(b); });
}

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// Without regard to case.
using rules::Mentions;

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_ASCII_TEXT_H_
