// Loading the catalogue into a namespace of its own, and saying why when that fails.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/plugin.nsp/plugin_callbacks.h"
#include "plugins/version_checker/inventory/inventory_operations.h"

namespace svc::checker {

// An empty base of the plug-in object. On the thread of the query.
class TCatalogueOperations {
 public:
  // The folder that holds the "sv" folder: the process's current directory.
  static std::string GetPluginDirectory(NQRXHSK20::IPluginCallbacks& plugin);
  // Loads one catalogue file of the 4.02 dialect; returns the classes that it declared.
  // Throws THSKException.
  static TClassList LoadCatalogueFile(const std::string& path, TNamespaceHandle catalogue);

 protected:
  ~TCatalogueOperations() = default;
};

// A new in-memory namespace that holds the catalogue's class definitions, which lie below the
// plug-in directory. Throws THSKException.
TNamespaceHandle CreateCatalogueNamespace(NQRXHSK20::IPluginCallbacks& plugin);

// Logs why a catalogue file could not be loaded, and tells the person who runs the host.
void ReportIndexFailure(const NQRXHSK20::THSKException& exception);

// Loads each of the download folder's files that suits the family of operating systems. Throws
// THSKException at the first that cannot be loaded.
void LoadDownloadedFiles(const std::vector<std::string>& names, const std::string& family,
                         const TNamespaceHandle& catalogue);

// --- Files that are named in Windows form, as the plug-in names its own: by platform ---

// Opens a file in text mode for reading; null, with errno set, when that fails. The caller closes
// it.
std::FILE* OpenForReading(const std::string& path);
// Removes a file if it is there.
void RemoveFile(const std::string& path);

}  // namespace svc::checker
