#include "collect/windows/services.h"

#include <fmt/format.h>
#include <windows.h>

#include "collect/native_text_windows.h"

namespace svc::collect {
namespace {

struct TCloseService {
  using pointer = SC_HANDLE;
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using TService = std::unique_ptr<SC_HANDLE, TCloseService>;

// Structures that the system writes with the texts they point to behind them.
using TBlock = std::vector<std::uint64_t>;

std::string PathOf(SC_HANDLE manager, const wchar_t* name) {
  const TService service(OpenServiceW(manager, name, SERVICE_QUERY_CONFIG));
  DWORD size = 0;
  if (!service) return {};
  QueryServiceConfigW(service.get(), nullptr, 0, &size);
  TBlock block(size / sizeof(TBlock::value_type) + 1);
  auto* const configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(block.data());
  if (!QueryServiceConfigW(service.get(), configuration, size, &size)) return {};
  const wchar_t* const path = configuration->lpBinaryPathName;
  return path == nullptr ? std::string() : Narrow(path);
}

// All services at once; asked again when one was added meanwhile.
DWORD ListDrivers(SC_HANDLE manager, TBlock& block, DWORD& count) {
  DWORD size = 0, needed = 0, resume = 0;
  const auto list = [&] {
    resume = 0;
    return EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_DRIVER, SERVICE_STATE_ALL,
                                 reinterpret_cast<BYTE*>(block.data()), size, &needed, &count,
                                 &resume, nullptr);
  };
  while (!list()) {
    const DWORD error = GetLastError();
    if (error != ERROR_MORE_DATA) return error;
    size += needed;
    block.resize(size / sizeof(TBlock::value_type) + 1);
  }
  return ERROR_SUCCESS;
}

}  // namespace

TAnswer<std::vector<TDriverService>> DriverServices() {
  const TService manager(
      OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE));
  if (!manager) return {{}, SystemText(GetLastError())};
  TBlock block;
  DWORD count = 0;
  const DWORD error = ListDrivers(manager.get(), block, count);
  if (error != ERROR_SUCCESS) return {{}, SystemText(error)};
  const auto* const services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(block.data());
  TAnswer<std::vector<TDriverService>> answer;
  for (const auto* service = services; service != services + count; ++service) {
    answer.value.push_back({Narrow(service->lpServiceName),
                            PathOf(manager.get(), service->lpServiceName),
                            service->ServiceStatusProcess.dwCurrentState});
  }
  return answer;
}

std::string VersionOfFile(const std::string& path) {
  const std::wstring file = Widen(path);
  const DWORD size = GetFileVersionInfoSizeW(file.c_str(), nullptr);
  if (size == 0) return {};
  std::vector<char> resource(size);
  void* found = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(file.c_str(), 0, size, resource.data()) ||
      !VerQueryValueW(resource.data(), L"\\", &found, &length) || length < sizeof(VS_FIXEDFILEINFO))
    return {};
  const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(found);
  return fmt::format("{}.{}.{}.{}", HIWORD(version.dwFileVersionMS),
                     LOWORD(version.dwFileVersionMS), HIWORD(version.dwFileVersionLS),
                     LOWORD(version.dwFileVersionLS));
}

}  // namespace svc::collect
