// Bytes of a test's table.
#pragma once

#include <string>
#include <string_view>

// REQUIRES: an even number of hexadecimal digits.
inline std::string FromHex(std::string_view text) {
  std::string bytes;
  for (; !text.empty(); text.remove_prefix(2))
    bytes += static_cast<char>(std::stoi(std::string(text.substr(0, 2)), nullptr, 16));
  return bytes;
}
