#include <io.h>

#include "runtime/hskcore/os_platform.h"
#include "svcheck/fleet/read_some.h"

namespace svc::fleet {

// Folders hold no pipes here.
std::FILE* OpenRegular(const std::string& path) { return OpenNativeFile(path, "rb"); }

std::optional<std::size_t> ReadSome(std::FILE* file, char* block, std::size_t size) {
  const int count = _read(_fileno(file), block, static_cast<unsigned>(size));
  if (count == -1) return {};
  return static_cast<std::size_t>(count);
}

bool HasSome(std::FILE* /*file*/) { return true; }

}  // namespace svc::fleet
