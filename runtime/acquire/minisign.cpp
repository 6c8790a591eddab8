#include "runtime/acquire/minisign.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <cstdint>
#include <optional>

#include "runtime/acquire/crypto.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {

namespace {

constexpr std::string_view kUntrusted = "untrusted comment:";
constexpr std::string_view kTrusted = "trusted comment: ";
constexpr std::string_view kLegacy = "Ed";
constexpr std::string_view kPrehashed = "ED";
constexpr std::size_t kIdSize = 8;

// Takes a line off the text, without its end.
std::string_view TakeLine(std::string_view& text) {
  const auto end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  while (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

// A line of base64 of so many bytes.
std::optional<std::string> DecodeLine(std::string_view line, std::size_t size) {
  auto bytes = FromBase64(line);
  if (bytes && bytes->size() != size) bytes.reset();
  return bytes;
}

TError BadSignature(const std::string& why) {
  return DownloadError(EOutcome::kBadSignature, "the manifest's signature " + why);
}

}  // namespace

TPublicKey ParsePublicKey(std::string_view text, const std::string& place) {
  if (text.starts_with(kUntrusted)) TakeLine(text);
  const auto bytes = DecodeLine(TakeLine(text), 2 + kIdSize + kEd25519KeySize);
  if (!bytes || !bytes->starts_with(kLegacy))
    throw DownloadError(EOutcome::kKeyUnusable, place + "this is no public key of minisign");
  return {bytes->substr(2, kIdSize), bytes->substr(2 + kIdSize)};
}

TSignature ParseSignature(std::string_view text) {
  const std::string_view untrusted = TakeLine(text);
  const auto bytes = DecodeLine(TakeLine(text), 2 + kIdSize + kEd25519SignatureSize);
  const std::string_view trusted = TakeLine(text);
  const auto global = DecodeLine(TakeLine(text), kEd25519SignatureSize);
  if (!untrusted.starts_with(kUntrusted) || !bytes || !trusted.starts_with(kTrusted) || !global)
    throw BadSignature("does not have minisign's form");
  const std::string algorithm = bytes->substr(0, 2);
  if (algorithm != kLegacy && algorithm != kPrehashed)
    throw BadSignature("was made by an algorithm that is not known");
  return {algorithm == kPrehashed, bytes->substr(2, kIdSize), bytes->substr(2 + kIdSize),
          std::string(trusted.substr(kTrusted.size())), *global};
}

void VerifySignature(const TPublicKey& key, const TSignature& signature, std::string_view message) {
  if (signature.id != key.id)
    throw BadSignature("was made with key " + KeyNumber(signature.id) +
                       ", the one to be trusted is " + KeyNumber(key.id));
  const std::string hash = signature.prehashed ? Hash(EHash::kBlake2b512, message) : "";
  if (!IsSignedEd25519(key.key, signature.prehashed ? hash : message, signature.signature))
    throw BadSignature("is not one of this manifest: one of them was changed");
  if (!IsSignedEd25519(key.key, signature.signature + signature.trustedComment,
                       signature.globalSignature))
    throw BadSignature("has a trusted comment that was changed");
}

std::string KeyNumber(std::string_view id) {
  return boost::to_upper_copy(ToHex(std::string(id.rbegin(), id.rend())));
}

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
