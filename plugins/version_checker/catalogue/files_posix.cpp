// Files by the C library, under the names that the host maps theirs to.
#include "host/hskcore/os_specific.h"
#include "plugins/version_checker/catalogue/catalogue_loader.h"

using NQRXHSK20::TOSSpecific;

namespace svc::checker {

std::FILE* OpenForReading(const std::string& path) {
  return std::fopen(TOSSpecific::NativePath(path).c_str(), "r");
}

void RemoveFile(const std::string& path) { std::remove(TOSSpecific::NativePath(path).c_str()); }

}  // namespace svc::checker
