#include <windows.h>

#include <filesystem>

#include "svcheck/publisher/data_folder.h"

namespace svc::repository {

std::string InstalledDataFolder() {
  HMODULE self = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&InstalledDataFolder), &self);
  std::wstring file(32768, L'\0');
  file.resize(GetModuleFileNameW(self, file.data(), static_cast<DWORD>(file.size())));
  const auto folder = std::filesystem::path(file).parent_path().parent_path() / "share" / "svcheck";
  const auto name = folder.u8string();
  return {name.begin(), name.end()};
}

}  // namespace svc::repository
