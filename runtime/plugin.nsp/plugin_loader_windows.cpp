#include <windows.h>

#include <cctype>
#include <system_error>

#include "base/module.h"
#include "base/shown_text.h"
#include "runtime/plugin.nsp/plugin_loader.h"

namespace svc {

static std::string CauseOf(DWORD error) {
  return error == ERROR_DLL_INIT_FAILED ? "its entry refused to start or failed"
                                        : std::system_category().message(static_cast<int>(error));
}

static void CheckIsFile(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(Widen(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    throw TError(CauseOf(GetLastError()));
  }
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
    throw TError("it is a folder");
  }
}

// "C:\..." or "\\server\...".
bool IsAbsolutePath(const std::string& path) {
  const auto isSeparator = [&](std::size_t at) { return path[at] == '\\' || path[at] == '/'; };
  return path.size() > 2 &&
         ((std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':' && isSeparator(2)) ||
          (isSeparator(0) && isSeparator(1)));
}

// The entry, DllMain, runs meanwhile.
TModule OpenLibrary(const std::string& path) {
  CheckIsFile(path);
  return Retold(
      [&path] { return TModule(path); },
      [](const TError& error) { return TError(CauseOf(static_cast<DWORD>(error.Number()))); });
}

std::string RunEntry(const TModule& /*library*/) { return ""; }

}  // namespace svc
