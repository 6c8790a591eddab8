// "Did you mean …?" Pure functions.
#ifndef SVCHECK_CLI_SUGGESTION_H_
#define SVCHECK_CLI_SUGGESTION_H_

#include <string>
#include <string_view>
#include <vector>

namespace svc {

// The one of the names that was most likely meant; empty when none is near.
std::string_view Nearest(std::string_view word, const std::vector<std::string>& names);

// "did you mean "NAME"? ", or nothing.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& names);

}  // namespace svc

#endif  // SVCHECK_CLI_SUGGESTION_H_
