#include <cerrno>
#include <filesystem>
#include <system_error>

#include "base/read_file.h"

namespace svc::files {

// Folders hold no pipes here.
std::FILE* OpenToRead(const std::string& path, EPipes /*pipes*/) {
  const std::filesystem::path native(std::u8string(path.begin(), path.end()));
  std::error_code ignored;
  if (std::filesystem::is_directory(native, ignored)) throw FileError(EISDIR, "it is a folder");
  std::FILE* const file = _wfopen(native.c_str(), L"rb");
  if (file == nullptr) throw FileError(errno);
  return file;
}

}  // namespace svc::files
