// Where the installation's own files are.
#ifndef SVCHECK_PUBLISHER_DATA_FOLDER_H_
#define SVCHECK_PUBLISHER_DATA_FOLDER_H_

#include <string>

namespace svc::repository {

// The data folder that belongs to this library, in the build tree as where it is installed.
std::string InstalledDataFolder();

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_DATA_FOLDER_H_
