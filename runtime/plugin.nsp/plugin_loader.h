// Loading plug-in libraries.
#pragma once

#include <string>

#include "host/hskcore/export.h"
#include "host/plugin.nsp/plugin_manager.h"

namespace svc {

class TModule;

// Loads a library, which registers its plug-in with the manager that TRootObject knows, and gives
// the provider registered last. The library stays loaded until the process ends, for its plug-in's
// code lies in it.
//
// The path is absolute (UTF-8). The library, its folder and the folders above must belong to root
// or to the user who runs the program, and nobody else may be able to write to them, by their mode
// or an access list: whoever can write there is trusted with the user's rights. A folder above may
// have the sticky bit instead. The same holds for the folders of symbolic links on the way, and the
// links themselves. In a process that may do more than its user, by capabilities or by the
// program's mode, all of it must belong to root. (On Windows the folder's access list is what
// protects it.)
//
// Throws TError, which says what, where and what to do. REQUIRES: `manager` is the installed
// plug-in manager; no other thread registers plug-ins.
PLUGIN_NSP_API NQRXHSK20::TPluginManagerProvider* LoadPlugin(
    const std::string& path, NQRXHSK20::TPluginManagerNamespace& manager);

// --- What differs by operating system. Used by one thread at a time. ---

// Whether the path means the same file whatever the current folder is.
bool IsAbsolutePath(const std::string& path);

// Throws TError, whose text is the cause alone, also where the file, a folder above it or a link on
// the way to it is within reach of others.
TModule OpenLibrary(const std::string& path);

// Calls the library's entry where loading it has not done so. Gives what went wrong, empty when
// nothing did.
std::string RunEntry(const TModule& library);

}  // namespace svc
