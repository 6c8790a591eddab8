// Public keys and signatures in the form of minisign (https://jedisct1.github.io/minisign/).
// Values and pure functions; any thread.
#ifndef RUNTIME_ACQUIRE_MINISIGN_H_
#define RUNTIME_ACQUIRE_MINISIGN_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace svc::acquire {

// No well-formed key or signature is longer.
inline constexpr std::size_t kMaxSignatureText = 16384;

struct TPublicKey {
  std::string id;   // 8 bytes.
  std::string key;  // 32 bytes.
};

struct TSignature {
  bool prehashed = false;  // Of the message's BLAKE2b-512 rather than of the message.
  std::string id;          // 8 bytes: of the key that signed.
  std::string signature;   // 64 bytes.
  std::string trustedComment;
  std::string globalSignature;  // 64 bytes: of the signature and the trusted comment.
};

// Reads the text of a key file, or its second line alone. Throws TError
// (kKeyUnusable), whose text begins with the place.
TPublicKey ParsePublicKey(std::string_view text, const std::string& place = {});

// Throws TError (kBadSignature).
TSignature ParseSignature(std::string_view text);

// Returns when the key's owner signed both the message and the trusted comment; throws TError
// (kBadSignature) otherwise.
void VerifySignature(const TPublicKey& key, const TSignature& signature, std::string_view message);

// A key's number as minisign shows it: hexadecimal, the last byte first.
std::string KeyNumber(std::string_view id);

// Bytes as text, as keys and signatures are written. Pure functions.

// RFC 4648, section 4, with padding.
std::string ToBase64(std::string_view bytes);
// Nothing where the text is not exactly what ToBase64 would write.
std::optional<std::string> FromBase64(std::string_view text);

// Lower-case hexadecimal.
std::string ToHex(std::string_view bytes);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_MINISIGN_H_
