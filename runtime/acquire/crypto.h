// Hashes, signatures and how both are written. Bytes stand in strings. Different objects may be
// used from different threads.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace svc::acquire {

enum class EHash { kSha256, kSha512, kBlake2b256, kBlake2b512, kSha1 };

// A hash of bytes that arrive in pieces.
class THasher {
 public:
  explicit THasher(EHash hash);
  ~THasher();
  THasher(THasher&&) noexcept;
  THasher& operator=(THasher&&) noexcept;

  void Update(std::string_view bytes);
  // The digest's bytes. REQUIRES: called once, last.
  std::string Digest();

 private:
  struct TState;
  std::unique_ptr<TState> state;
};

std::string Hash(EHash hash, std::string_view bytes);

inline constexpr std::size_t kEd25519KeySize = 32;
inline constexpr std::size_t kEd25519SignatureSize = 64;

// Whether the signature (64 bytes) of the message is the work of the key (32 bytes). RFC 8032,
// section 5.1.7, without the cofactor.
bool IsSignedEd25519(std::string_view key, std::string_view message, std::string_view signature);

// Makes the library ready; every function here has done it. For others that use the library.
void StartCrypto();

// --- Public keys and signatures in the form of minisign (https://jedisct1.github.io/minisign/) ---
// Values and pure functions; any thread.

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

// --- Bytes as text, as keys and signatures are written ---
// Pure functions.

// RFC 4648, section 4, with padding.
std::string ToBase64(std::string_view bytes);
// Nothing where the text is not exactly what ToBase64 would write.
std::optional<std::string> FromBase64(std::string_view text);

// Lower-case hexadecimal.
std::string ToHex(std::string_view bytes);

}  // namespace svc::acquire
