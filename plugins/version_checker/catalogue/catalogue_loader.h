// Loading the catalogue into a namespace of its own, and saying why when that fails.
#ifndef PLUGINS_VERSION_CHECKER_CATALOGUE_CATALOGUE_LOADER_H_
#define PLUGINS_VERSION_CHECKER_CATALOGUE_CATALOGUE_LOADER_H_

#include <string>
#include <vector>

#include "plugins/version_checker/contents/sv_plugin.h"

// A new in-memory namespace that holds the catalogue's class definitions, which lie below the
// plug-in directory. Throws THSKException.
TNamespaceHandle CreateCatalogueNamespace(NQRXHSK20::IPluginCallbacks& plugin);

// Logs why a catalogue file could not be loaded, and tells the person who runs the host.
void ReportIndexFailure(const NQRXHSK20::THSKException& exception);

// Which files of the download folder are loaded.

// Loads each of the download folder's files that suits the family of operating systems. Throws
// THSKException at the first that cannot be loaded.
void LoadDownloadedFiles(const std::vector<std::string>& names, const std::string& family,
                         const TNamespaceHandle& catalogue);

#endif  // PLUGINS_VERSION_CHECKER_CATALOGUE_CATALOGUE_LOADER_H_
