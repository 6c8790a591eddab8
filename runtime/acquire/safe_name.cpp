#include "runtime/acquire/safe_name.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/predicate.hpp>

namespace svc::acquire {
namespace {

constexpr std::size_t kMaxName = 255;

// "COM" and "LPT" take a digit, plain or raised.
constexpr std::array<std::string_view, 6> kDevices = {"CON", "PRN",    "AUX",
                                                      "NUL", "CONIN$", "CONOUT$"};
constexpr std::array<std::string_view, 2> kPorts = {"COM", "LPT"};
constexpr std::array<std::string_view, 13> kPortDigits = {
    "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"};

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

bool IsPort(std::string_view stem) {
  return std::ranges::any_of(kPorts, [stem](std::string_view port) {
    return boost::istarts_with(stem, port) &&
           std::ranges::count(kPortDigits, stem.substr(port.size())) != 0;
  });
}

// A device keeps its meaning with any extension, and with blanks before it.
bool IsDevice(std::string_view name) {
  std::string_view stem = name.substr(0, name.find('.'));
  while (stem.ends_with(' ')) stem.remove_suffix(1);
  return IsPort(stem) || std::ranges::any_of(kDevices, [stem](std::string_view device) {
           return boost::iequals(stem, device);
         });
}

}  // namespace

std::string_view WhyUnsafeName(std::string_view name) {
  if (name.empty()) return "is empty";
  if (name == "." || name == "..") return "names a folder";
  if (name.size() > kMaxName) return "is longer than 255 bytes";
  if (std::ranges::any_of(name, IsControl)) return "holds a control character";
  if (name.find_first_of("/\\") != std::string_view::npos) return "holds a separator of folders";
  if (name.find_first_of(":*?\"<>|") != std::string_view::npos)
    return "holds a character that Windows gives a meaning of its own";
  if (name.ends_with('.') || name.ends_with(' ')) return "ends with a dot or a blank";
  if (IsDevice(name)) return "names a device of Windows";
  return {};
}

std::string_view WhyUnsafePath(std::string_view path) {
  if (path.size() > 4096) return "is longer than 4096 bytes";
  while (true) {
    const auto slash = path.find('/');
    const std::string_view why = WhyUnsafeName(path.substr(0, slash));
    if (!why.empty() || slash == std::string_view::npos) return why;
    path.remove_prefix(slash + 1);
  }
}

}  // namespace svc::acquire
