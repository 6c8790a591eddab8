// Hashes and signatures. Bytes stand in strings. Different objects may be used from different
// threads.
#ifndef RUNTIME_ACQUIRE_CRYPTO_H_
#define RUNTIME_ACQUIRE_CRYPTO_H_

#include <memory>
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

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_CRYPTO_H_
