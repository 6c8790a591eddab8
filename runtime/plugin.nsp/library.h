// A dynamic library and its entry, by operating system. Used by one thread at a time.
#ifndef RUNTIME_PLUGIN_NSP_LIBRARY_H_
#define RUNTIME_PLUGIN_NSP_LIBRARY_H_

#include <string>

namespace svc {

using TLibrary = void*;

// Whether the path means the same file whatever the current folder is.
bool IsAbsolutePath(const std::string& path);

// Throws TError, also where the file, a folder above it or a link on the way to it is
// within reach of others.
TLibrary OpenLibrary(const std::string& path);

// Calls the library's entry where loading it has not done so. Gives what went wrong, empty when
// nothing did.
std::string RunEntry(TLibrary library);

void CloseLibrary(TLibrary library) noexcept;

}  // namespace svc

#endif  // RUNTIME_PLUGIN_NSP_LIBRARY_H_
