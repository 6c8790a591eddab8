// The variables of the environment that the program lets in. Whoever sets the environment of a
// program that runs as root shall not decide what code its libraries load, what files they write
// and whom they trust; there are too many such variables, and each library may bring more, to name
// them. So the few that somebody needs are named instead. Pure; any thread.
#ifndef SVCHECK_SYSTEM_ENVIRONMENT_H_
#define SVCHECK_SYSTEM_ENVIRONMENT_H_

#include <algorithm>
#include <array>
#include <string_view>

namespace svc {

// A name that ends in "_" stands for all that begin so.
inline constexpr std::array<std::string_view, 16> kLetIn = {
    // Settings, and where the user's files lie.
    "SVCHECK_", "HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "TMPDIR", "TMP", "TEMP",
    // How a terminal likes its texts.
    "TERM", "NO_COLOR",
    // The way to a repository. Not HTTP_PROXY, which a web server's clients can set.
    "http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"};

constexpr bool IsLetInAs(std::string_view listed, std::string_view name) noexcept {
  return listed.back() == '_' ? name.starts_with(listed) : name == listed;
}

// Of an entry, "NAME=VALUE".
constexpr bool IsLetIn(std::string_view entry) noexcept {
  const std::size_t equals = entry.find('=');
  return equals != std::string_view::npos &&
         std::any_of(kLetIn.begin(), kLetIn.end(), [&](std::string_view listed) {
           return IsLetInAs(listed, entry.substr(0, equals));
         });
}

}  // namespace svc

#endif  // SVCHECK_SYSTEM_ENVIRONMENT_H_
