#include "svcheck/system/files_below.h"

namespace fs = std::filesystem;

namespace svc::fleet {

std::vector<fs::path> FilesBelow(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    std::error_code unreadable;
    if (!entry.is_directory(unreadable)) files.push_back(entry.path());
  }
  return files;
}

}  // namespace svc::fleet
