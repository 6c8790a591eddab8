// What only a publisher needs of cryptography. Bytes stand in strings. Any thread.
#ifndef SVCHECK_PUBLISHER_SIGNING_H_
#define SVCHECK_PUBLISHER_SIGNING_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace svc::repository {

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
// Throws std::runtime_error where there is not enough memory.
std::string Scrypt(std::string_view password, std::string_view salt, const TScryptCost& cost,
                   std::size_t size);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_SIGNING_H_
