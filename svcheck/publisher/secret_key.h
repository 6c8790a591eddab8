// The publisher's key pair, in the form of minisign, and signing with it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/acquire/crypto.h"

namespace svc::repository {

// Bytes that are overwritten when they are no longer needed. One thread.
class TSecret {
 public:
  explicit TSecret(std::string_view source);
  ~TSecret();
  TSecret(TSecret&&) = default;

  std::string_view Bytes() const { return {bytes.get(), size}; }

 private:
  std::unique_ptr<char[]> bytes;
  std::size_t size;
};

struct TSecretKey {
  std::string id;  // 8 bytes.
  TSecret key;     // 64 bytes: the seed, then the public key.
};

// How hard a password is to guess: the limits of libsodium's scrypt, which minisign writes into
// the file. The usual ones take some seconds and 1 GiB.
struct TPasswordCost {
  std::uint64_t operations = 33'554'432;
  std::uint64_t memory = 1'073'741'824;
};

// Throws TError where the text is no secret key or the password is wrong. The password
// is asked for only where the key has one.
TSecretKey OpenSecretKey(std::string_view text, const std::function<std::string()>& password);

TSecretKey NewSecretKey();
acquire::TPublicKey PublicKeyOf(const TSecretKey& key);

// The texts of the two files. Without a password the secret key stands in its file as it is.
std::string SecretKeyText(const TSecretKey& key, const std::optional<std::string>& password,
                          const TPasswordCost& cost = {});
std::string PublicKeyText(const acquire::TPublicKey& key);

// The text of the signature's file.
std::string SignatureText(const TSecretKey& key, std::string_view message,
                          const std::string& trustedComment);

// What only a publisher needs of cryptography. Bytes stand in strings. Any thread.

// For keys that last.
std::string RandomBytes(std::size_t size);

// The public key (32 bytes) of a seed (32 bytes). RFC 8032, section 5.1.5.
std::string Ed25519PublicKey(std::string_view seed);

// The signature (64 bytes) of a message of less than 64 KiB. `key` begins with the seed and the
// public key.
std::string SignEd25519(std::string_view key, std::string_view message);

// RFC 7914: N is 2 to the power of logN, r is 8.
struct TScryptCost {
  int logN = 1;
  std::uint32_t p = 1;
};
// Throws TError where there is not enough memory.
std::string Scrypt(std::string_view password, std::string_view salt, const TScryptCost& cost,
                   std::size_t size);

}  // namespace svc::repository
