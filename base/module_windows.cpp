#include <windows.h>

#include "base/module.h"
#include "base/shown_text.h"

namespace svc {

static std::wstring FileOf(HMODULE module) {
  std::wstring path(32768, L'\0');  // No path is longer.
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

static std::string NameIn(const std::string& path) {
  return path.substr(path.find_last_of("\\/") + 1);
}

static TError ErrorOf(const std::string& path, DWORD error) {
  return TError(NameIn(path) + " (error " + std::to_string(error) + ")", EErrorKind::kFailure,
                static_cast<int>(error));
}

std::string FolderOfCode(const void* code) {
  HMODULE holder = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<LPCWSTR>(code), &holder);
  const std::string path = Narrow(FileOf(holder));
  const auto slash = path.find_last_of("\\/");
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string ModuleFile(const std::string& folder, const std::string& name) {
  return folder + "\\" + name + ".dll";
}

// What it needs is looked for beside it and in the system's folders, never in the current one.
TModule::TModule(const std::string& path)
    : handle(LoadLibraryExW(Widen(path).c_str(), nullptr,
                            LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS)) {
  if (handle == nullptr) throw ErrorOf(path, GetLastError());
}

TModule::~TModule() {
  if (handle != nullptr && !isKept) FreeLibrary(static_cast<HMODULE>(handle));
}

void* TModule::Address(const char* name) const noexcept {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

TError TModule::Missing(const char* /*name*/) const {
  const DWORD error = GetLastError();
  return ErrorOf(Narrow(FileOf(static_cast<HMODULE>(handle))), error);
}

}  // namespace svc
