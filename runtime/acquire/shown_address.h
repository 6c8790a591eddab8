// Addresses as they may be shown: without user and password. Pure functions, apart from the rest
// of the download so that the program can use them without it.
#ifndef RUNTIME_ACQUIRE_SHOWN_ADDRESS_H_
#define RUNTIME_ACQUIRE_SHOWN_ADDRESS_H_

#include <algorithm>
#include <string>
#include <string_view>

namespace svc::acquire {

// Where the host's part begins, user and password included, and where it ends. An address without
// a scheme begins with it.
inline std::size_t HostBegin(std::string_view address) {
  constexpr std::string_view kScheme = "://";
  const std::size_t scheme = address.find(kScheme);
  return scheme == std::string_view::npos ? 0 : scheme + kScheme.size();
}
inline std::size_t HostEnd(std::string_view address) {
  return std::min(address.find('/', HostBegin(address)), address.size());
}

// Without user and password, for messages and as a key.
inline std::string ShownAddress(std::string_view address) {
  const std::size_t begin = HostBegin(address);
  const std::size_t at = address.substr(0, HostEnd(address)).rfind('@');
  if (at == std::string_view::npos || at < begin) return std::string(address);
  return std::string(address.substr(0, begin)) + std::string(address.substr(at + 1));
}

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_SHOWN_ADDRESS_H_
