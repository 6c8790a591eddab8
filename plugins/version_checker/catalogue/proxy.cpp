#include "plugins/version_checker/catalogue/proxy.h"

#include <sstream>

namespace {

constexpr std::size_t kSeparatorLength = 2;  // Of "{ ", and of a comma with the blank behind it.

// Takes the text from `position` to the separator, and moves behind that; false when the
// separator is missing.
bool TakePart(const std::string& text, std::size_t& position, const char* separator,
              std::string& part) {
  const std::size_t end = text.find(separator, position);
  if (end == std::string::npos) return false;
  part = text.substr(position, end - position);
  position = end + kSeparatorLength;
  return true;
}

}  // namespace

std::optional<KPLAcquistion::HTTPProxyInfo> ParseProxy(const std::string& text) {
  KPLAcquistion::HTTPProxyInfo proxy;
  std::string port;
  std::size_t position = text.find("{ ");
  if (position == std::string::npos) return std::nullopt;
  position += kSeparatorLength;
  if (!TakePart(text, position, ",", proxy.host) || !TakePart(text, position, ",", port) ||
      !TakePart(text, position, ",", proxy.user) ||
      !TakePart(text, position, " }", proxy.password)) {
    return std::nullopt;
  }
  std::istringstream(port) >> proxy.port;
  proxy.enabled = true;
  return proxy;
}
