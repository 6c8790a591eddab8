#include <unistd.h>

#include <array>
#include <fstream>

#include "svcheck/system/host_name.h"

namespace svc {

std::string HostName(const std::filesystem::path& root) {
  std::string name;
  if (root == "/") {
    std::array<char, 256> running{};
    if (::gethostname(running.data(), running.size() - 1) == 0) name = running.data();
  } else {
    std::ifstream file(root / "etc/hostname");
    std::getline(file, name);
  }
  return name;
}

}  // namespace svc
