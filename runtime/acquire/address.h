// The repository's address and those of the files below it. Pure functions.
#ifndef RUNTIME_ACQUIRE_ADDRESS_H_
#define RUNTIME_ACQUIRE_ADDRESS_H_

#include <string>
#include <string_view>

#include "runtime/acquire/shown_address.h"

namespace svc::acquire {

// The address of the folder, without a slash at its end; that of the manifest is taken for its
// folder's. Throws TFailure (kAddressUnusable) for what is not http or https.
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

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_ADDRESS_H_
