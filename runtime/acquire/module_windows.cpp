#include <windows.h>

#include "runtime/acquire/module.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {
namespace {

std::wstring FolderOfThisLibrary() {
  HMODULE self = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&FindInModule), &self);
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size())));
  const auto slash = path.find_last_of(L"\\/");
  return slash == std::wstring::npos ? L"." : path.substr(0, slash);
}

TError Missing(const std::string& module) {
  return DownloadError(EOutcome::kIncomplete,
                       "part of the installation cannot be loaded: " + module + ".dll (error " +
                           std::to_string(GetLastError()) +
                           "); install the program again, with its libraries");
}

}  // namespace

void* FindInModule(const std::string& module, const char* function) {
  const std::wstring path =
      FolderOfThisLibrary() + L"\\" + std::wstring(module.begin(), module.end()) + L".dll";
  const HMODULE handle = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (handle == nullptr) throw Missing(module);
  const FARPROC address = GetProcAddress(handle, function);
  if (address == nullptr) throw Missing(module);
  return reinterpret_cast<void*>(address);
}

}  // namespace svc::acquire
