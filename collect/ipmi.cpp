#include "collect/ipmi.h"

#include <fmt/format.h>

namespace svc::collect {

std::optional<TManagementController> ParseDeviceId(std::string_view response) {
  constexpr std::size_t kShortest = 12, kWithAuxiliary = 16;
  const auto byte = [response](std::size_t i) { return static_cast<std::uint8_t>(response[i]); };
  if (response.size() < kShortest || byte(0) != 0) return {};
  TManagementController controller{fmt::format("{}.{:02x}", byte(3) & 0x7FU, byte(4)), ""};
  if (response.size() >= kWithAuxiliary) {
    controller.auxiliary =
        fmt::format("{:02x}{:02x}{:02x}{:02x}", byte(12), byte(13), byte(14), byte(15));
    if (controller.auxiliary == "00000000") controller.auxiliary.clear();
  }
  return controller;
}

}  // namespace svc::collect
