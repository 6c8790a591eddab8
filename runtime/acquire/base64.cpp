#include "runtime/acquire/base64.h"

#include <cstdint>

namespace svc::acquire {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Three bytes are four digits; what is missing of the last three is written as "=".
void AppendGroup(std::string& text, std::string_view bytes) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < 3; ++i)
    bits = bits << 8 | (i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0);
  for (std::size_t i = 0; i < 4; ++i)
    text += i <= bytes.size() ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
}

}  // namespace

std::string ToBase64(std::string_view bytes) {
  std::string text;
  for (; !bytes.empty(); bytes.remove_prefix(bytes.size() < 3 ? bytes.size() : 3))
    AppendGroup(text, bytes.substr(0, 3));
  return text;
}

std::optional<std::string> FromBase64(std::string_view text) {
  std::string bytes;
  std::uint32_t bits = 0;
  std::size_t digits = 0;
  for (const char c : text.substr(0, text.find('='))) {
    const auto value = kDigits.find(c);
    if (value == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    if (++digits % 4 != 1) bytes += static_cast<char>(bits >> (6 - 2 * ((digits - 1) % 4)) & 0xFF);
  }
  if (ToBase64(bytes) != text) return std::nullopt;
  return bytes;
}

std::string ToHex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    text += "0123456789abcdef"[static_cast<std::uint8_t>(c) >> 4];
    text += "0123456789abcdef"[static_cast<std::uint8_t>(c) & 15];
  }
  return text;
}

}  // namespace svc::acquire
