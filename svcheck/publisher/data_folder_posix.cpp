#include <dlfcn.h>

#include <filesystem>

#include "svcheck/publisher/data_folder.h"

namespace svc::repository {

std::string InstalledDataFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<const void*>(&InstalledDataFolder), &info) == 0) return "data";
  return std::filesystem::path(info.dli_fname).parent_path().parent_path() / "share" / "svcheck";
}

}  // namespace svc::repository
