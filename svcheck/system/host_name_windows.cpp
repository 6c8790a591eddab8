#include <windows.h>

#include <array>

#include "svcheck/system/host_name.h"

namespace svc {

std::string HostName(const std::filesystem::path& /*root*/) {
  std::array<char, MAX_COMPUTERNAME_LENGTH + 1> name{};
  auto size = static_cast<DWORD>(name.size());
  return GetComputerNameA(name.data(), &size) ? name.data() : "";
}

}  // namespace svc
