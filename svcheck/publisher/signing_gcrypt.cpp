#include <gcrypt.h>

#include <memory>
#include <stdexcept>

#include "runtime/acquire/crypto.h"
#include "svcheck/publisher/signing.h"

namespace svc::repository {
namespace {

struct TRelease {
  void operator()(gcry_sexp* expression) const { gcry_sexp_release(expression); }
  void operator()(gcry_context* context) const { gcry_ctx_release(context); }
  void operator()(gcry_mpi* number) const { gcry_mpi_release(number); }
};
using TExpression = std::unique_ptr<gcry_sexp, TRelease>;

void Check(gcry_error_t error) {
  if (error != 0) throw std::runtime_error(std::string("libgcrypt: ") + gcry_strerror(error));
}

// The form has "%b" in the place of each of the texts: an int and an address.
template <typename... TArguments>
TExpression Build(const char* form, TArguments... arguments) {
  gcry_sexp_t expression = nullptr;
  Check(gcry_sexp_build(&expression, nullptr, form, arguments...));
  return TExpression(expression);
}

int Length(std::string_view text) { return static_cast<int>(text.size()); }

std::string Part(const TExpression& expression, const char* name) {
  const TExpression found(gcry_sexp_find_token(expression.get(), name, 0));
  std::size_t size = 0;
  const char* bytes = found ? gcry_sexp_nth_data(found.get(), 1, &size) : nullptr;
  if (bytes == nullptr) throw std::runtime_error("libgcrypt made no signature");
  return {bytes, size};
}

}  // namespace

std::string RandomBytes(std::size_t size) {
  acquire::StartCrypto();
  std::string bytes(size, '\0');
  gcry_randomize(bytes.data(), bytes.size(), GCRY_VERY_STRONG_RANDOM);
  return bytes;
}

std::string Ed25519PublicKey(std::string_view seed) {
  acquire::StartCrypto();
  const TExpression key =
      Build("(private-key(ecc(curve Ed25519)(flags eddsa)(d %b)))", Length(seed), seed.data());
  gcry_ctx_t context = nullptr;
  Check(gcry_mpi_ec_new(&context, key.get(), nullptr));
  const std::unique_ptr<gcry_context, TRelease> curve(context);
  const std::unique_ptr<gcry_mpi, TRelease> point(gcry_mpi_ec_get_mpi("q@eddsa", curve.get(), 0));
  unsigned bits = 0;
  const void* bytes = point ? gcry_mpi_get_opaque(point.get(), &bits) : nullptr;
  if (bytes == nullptr) throw std::runtime_error("libgcrypt made no public key");
  return {static_cast<const char*>(bytes), bits / 8};
}

std::string SignEd25519(std::string_view key, std::string_view message) {
  acquire::StartCrypto();
  const TExpression secret = Build("(private-key(ecc(curve Ed25519)(flags eddsa)(q %b)(d %b)))", 32,
                                   key.data() + 32, 32, key.data());
  const TExpression data =
      Build("(data(flags eddsa)(hash-algo sha512)(value %b))", Length(message), message.data());
  gcry_sexp_t result = nullptr;
  Check(gcry_pk_sign(&result, data.get(), secret.get()));
  const TExpression signature(result);
  return Part(signature, "r") + Part(signature, "s");
}

std::string Scrypt(std::string_view password, std::string_view salt, const TScryptCost& cost,
                   std::size_t size) {
  acquire::StartCrypto();
  if (cost.logN > 30 || cost.p == 0)
    throw std::runtime_error("the secret key's password is protected beyond reason");
  std::string bytes(size, '\0');
  Check(gcry_kdf_derive(password.data(), password.size(), GCRY_KDF_SCRYPT, 1 << cost.logN,
                        salt.data(), salt.size(), cost.p, bytes.size(), bytes.data()));
  return bytes;
}

}  // namespace svc::repository
