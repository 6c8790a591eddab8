// Files by the C library, under wide names of those that the host maps theirs to.
#include <windows.h>

#include "host/hskcore/os_specific.h"
#include "plugins/version_checker/catalogue/catalogue_loader.h"

using NQRXHSK20::TOSSpecific;

namespace svc::checker {

// The host's paths are UTF-8, the system's UTF-16.
static std::wstring Widen(const std::string& path) {
  const int size = static_cast<int>(path.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, path.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, path.data(), size, wide.data(), length);
  return wide;
}

std::FILE* OpenForReading(const std::string& path) {
  return _wfopen(Widen(TOSSpecific::NativePath(path)).c_str(), L"r");
}

void RemoveFile(const std::string& path) { _wremove(Widen(path).c_str()); }

}  // namespace svc::checker
