#include <windows.h>

#include <cctype>
#include <string>
#include <system_error>

#include "base/error.h"
#include "runtime/plugin.nsp/library.h"
#include "runtime/plugin.nsp/plugin_loader.h"

namespace svc {

namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& cause) {
  throw TError("The plug-in \"" + path + "\" cannot be loaded: " + cause);
}

std::wstring Wide(const std::string& text) {
  const int given = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), given, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), given, wide.data(), length);
  return wide;
}

std::string CauseOf(DWORD error) {
  return error == ERROR_DLL_INIT_FAILED ? "its entry refused to start or failed"
                                        : std::system_category().message(static_cast<int>(error));
}

void CheckIsFile(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(Wide(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    Refuse(path, CauseOf(GetLastError()));
  }
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
    Refuse(path, "it is a folder");
  }
}

}  // namespace

// "C:\..." or "\\server\...".
bool IsAbsolutePath(const std::string& path) {
  const auto isSeparator = [&](std::size_t at) { return path[at] == '\\' || path[at] == '/'; };
  return path.size() > 2 &&
         ((std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':' && isSeparator(2)) ||
          (isSeparator(0) && isSeparator(1)));
}

// The entry, DllMain, runs meanwhile.
TLibrary OpenLibrary(const std::string& path) {
  CheckIsFile(path);
  const HMODULE library =
      LoadLibraryExW(Wide(path).c_str(), nullptr,
                     LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (library == nullptr) {
    Refuse(path, CauseOf(GetLastError()));
  }
  return library;
}

std::string RunEntry(TLibrary) { return ""; }

void CloseLibrary(TLibrary library) noexcept { FreeLibrary(static_cast<HMODULE>(library)); }

}  // namespace svc
