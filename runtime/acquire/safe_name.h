// Which names from outside may become names of files. Pure functions.
#ifndef RUNTIME_ACQUIRE_SAFE_NAME_H_
#define RUNTIME_ACQUIRE_SAFE_NAME_H_

#include <string_view>

namespace svc::acquire {

// Why the name is not one plain file name on every system, in words that follow "because it";
// empty when it is one. The rules for Windows are those of "Naming Files, Paths, and Namespaces"
// (Microsoft Learn).
std::string_view WhyUnsafeName(std::string_view name);

// The same for a path below the repository's address: plain names joined by slashes.
std::string_view WhyUnsafePath(std::string_view path);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_SAFE_NAME_H_
