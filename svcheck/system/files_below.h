// What lies below a folder. Any thread.
#ifndef SVCHECK_SYSTEM_FILES_BELOW_H_
#define SVCHECK_SYSTEM_FILES_BELOW_H_

#include <filesystem>
#include <vector>

namespace svc::fleet {

// The paths of all that is no folder, in no order, those of folders within the folder among them;
// links to folders are not followed. Throws std::system_error.
std::vector<std::filesystem::path> FilesBelow(const std::filesystem::path& folder);

}  // namespace svc::fleet

#endif  // SVCHECK_SYSTEM_FILES_BELOW_H_
