#include "host/hskcore/os_specific.h"
#include "plugins/version_checker/catalogue/files.h"

using NQRXHSK20::TOSSpecific;

std::FILE* OpenForReading(const std::string& path) {
  return std::fopen(TOSSpecific::NativePath(path).c_str(), "r");
}

void RemoveFile(const std::string& path) { std::remove(TOSSpecific::NativePath(path).c_str()); }
