// Which files of the download folder are loaded.
#ifndef PLUGINS_VERSION_CHECKER_CATALOGUE_DOWNLOAD_SCAN_H_
#define PLUGINS_VERSION_CHECKER_CATALOGUE_DOWNLOAD_SCAN_H_

#include <string>
#include <vector>

#include "plugins/version_checker/contents/sv_plugin.h"

// Loads each of the download folder's files that suits the family of operating systems. Throws
// THSKException at the first that cannot be loaded.
void LoadDownloadedFiles(const std::vector<std::string>& names, const std::string& family,
                         const TNamespaceHandle& catalogue);

#endif  // PLUGINS_VERSION_CHECKER_CATALOGUE_DOWNLOAD_SCAN_H_
