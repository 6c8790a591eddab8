// Files by the C library, under the names that the host maps theirs to.
#include <fcntl.h>
#include <unistd.h>

#include "host/hskcore/os_specific.h"
#include "plugins/version_checker/catalogue/catalogue_loader.h"

using NQRXHSK20::TOSSpecific;

namespace svc::checker {

// What took the place of a file since it was looked at, such as a pipe, is not waited for.
std::FILE* OpenForReading(const std::string& path) {
  const int file =
      ::open(TOSSpecific::NativePath(path).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (file < 0) return nullptr;
  std::FILE* const stream = ::fdopen(file, "r");
  if (stream == nullptr) ::close(file);
  return stream;
}

void RemoveFile(const std::string& path) { std::remove(TOSSpecific::NativePath(path).c_str()); }

}  // namespace svc::checker
