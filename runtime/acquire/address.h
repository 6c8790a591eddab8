// Addresses as they may be shown: without user and password. Pure functions, apart from the rest
// of the download so that the program can use them without it.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/acquire/engine.h"
#include "runtime/acquire/transport.h"

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

// The repository's address and those of the files below it. Pure functions.

// The address of the folder, without a slash at its end; that of the manifest is taken for its
// folder's. Throws TError (kAddressUnusable) for what is not http or https.
std::string RepositoryAddress(std::string_view text);

// The address of a file. The path is plain; what an address cannot hold is written with "%".
std::string FileAddress(const std::string& repository, std::string_view path);

// Whether both lead to the same server: scheme, host and port are the same. Of an address that
// programs may read in different ways it is not.
bool IsSameServer(std::string_view one, std::string_view other);

// The one form of all addresses of a repository: scheme and host in lower case, without user,
// default port, the host's trailing dot and dot segments, percent forms resolved where the
// character stands for itself.
std::string RepositoryKey(std::string_view address);

// Which proxy a download goes through.

// The program's own choice, else the plug-in's, else that of the environment. Throws TError
// (kProxyUnusable).
TProxyChoice ChooseProxy(const TDownloadJob& job);

}  // namespace svc::acquire
