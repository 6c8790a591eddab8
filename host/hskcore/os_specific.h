// What differs between the operating systems that a host runs on.
#ifndef HOST_HSKCORE_OS_SPECIFIC_H_
#define HOST_HSKCORE_OS_SPECIFIC_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/hskcore/export.h"

namespace NQRXHSK20 {

// Paths are UTF-8. A path may have the Windows form (backslashes, a drive letter) on every system.
// May be called from any thread.
class HSKCORE_API TOSSpecific {
 public:
  // "\" on Windows, "/" elsewhere.
  static const char* const kFileSeparator;

  // The process's current directory, without a trailing separator.
  static std::string GetCurrentDir();
  // In bytes. Throws THSKException: kFileNotFound when there is no such file, kFileUnreadable when
  // its size cannot be told.
  static std::uint64_t GetFileSize(const std::string& path);
  // The names (without folder) of a folder's entries, sorted by their bytes; none for a folder
  // that does not exist. Throws THSKException (kFileUnreadable) when it cannot be read.
  static std::vector<std::string> ListDir(const std::string& path);
  // The path under which this system knows a file named in Windows form: where each backslash is
  // a slash and a drive letter a folder below the host's drive root. On Windows the path itself.
  static std::string NativePath(const std::string& path);
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_OS_SPECIFIC_H_
