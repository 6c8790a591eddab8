// What differs by operating system in loading a plug-in's library. Used by one thread at a time.
#ifndef RUNTIME_PLUGIN_NSP_LIBRARY_H_
#define RUNTIME_PLUGIN_NSP_LIBRARY_H_

#include <string>

#include "base/module.h"

namespace svc {

// Whether the path means the same file whatever the current folder is.
bool IsAbsolutePath(const std::string& path);

// Throws TError, whose text is the cause alone, also where the file, a folder above it or a link on
// the way to it is within reach of others.
TModule OpenLibrary(const std::string& path);

// Calls the library's entry where loading it has not done so. Gives what went wrong, empty when
// nothing did.
std::string RunEntry(const TModule& library);

}  // namespace svc

#endif  // RUNTIME_PLUGIN_NSP_LIBRARY_H_
