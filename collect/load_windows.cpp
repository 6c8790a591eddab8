#include <windows.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include "collect/load.h"

namespace svc::collect {
namespace {

constexpr const wchar_t* kModule = L"svcheck-collect.dll";
constexpr const char* kEntry = "SvcheckCollector";

std::filesystem::path ProgramFolder() {
  std::wstring program(32768, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  return std::filesystem::path(program).parent_path();
}

const ICollector& Load() {
  const HMODULE module =
      LoadLibraryExW((ProgramFolder() / kModule).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  const auto entry = reinterpret_cast<const ICollector* (*)()>(
      reinterpret_cast<void*>(module == nullptr ? nullptr : GetProcAddress(module, kEntry)));
  if (entry == nullptr) {
    throw std::runtime_error("cannot read this machine's inventory: svcheck-collect.dll: " +
                             std::system_category().message(static_cast<int>(GetLastError())) +
                             "; install svcheck whole, or give --inventory FILE");
  }
  return *entry();
}

}  // namespace

const ICollector& LoadCollector() {
  static const ICollector& collector = Load();
  return collector;
}

}  // namespace svc::collect
