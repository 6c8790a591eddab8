// The version that a Windows driver states of itself. Pure functions; may be called from any
// thread.
#ifndef SVCHECK_AUTHOR_VERSION_RESOURCE_H_
#define SVCHECK_AUTHOR_VERSION_RESOURCE_H_

#include <optional>
#include <string>
#include <string_view>

namespace svc::catalogue {

// Of the bytes of a PE file (Microsoft's "PE Format"): the four numbers of the file version in its
// version resource, as "4.17.0.64". Empty where it has none; nothing where it is no PE file. Reads
// nothing outside the bytes, whatever they hold.
std::optional<std::string> FileVersionOf(std::string_view bytes);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_VERSION_RESOURCE_H_
