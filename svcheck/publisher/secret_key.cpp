#include "svcheck/publisher/secret_key.h"

#include <gcrypt.h>
#include <algorithm>

#include "base/error.h"

namespace svc::repository {

namespace {

using acquire::EHash;

constexpr std::string_view kAlgorithm = "Ed";
constexpr std::string_view kScrypt = "Sc";
constexpr std::string_view kChecksum = "B2";
constexpr std::string_view kNoPassword{"\0\0", 2};
constexpr std::size_t kSaltSize = 32;
constexpr std::size_t kIdSize = 8;
constexpr std::size_t kKeySize = 64;
constexpr std::size_t kHeadSize = 6 + kSaltSize + 16;  // Up to the part that a password hides.
constexpr std::size_t kChecksumSize = 32;
constexpr std::size_t kSeedSize = 32;
constexpr std::size_t kHiddenSize = kIdSize + kKeySize + kChecksumSize;

std::string LittleEndian(std::uint64_t number) {
  std::string bytes;
  for (int i = 0; i < 8; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
  return bytes;
}

std::uint64_t FromLittleEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (std::size_t i = 8; i-- > 0;) number = number << 8 | static_cast<std::uint8_t>(bytes[i]);
  return number;
}

// libsodium's way from its two limits to scrypt's parameters, with r = 8.
TScryptCost ScryptCost(const TPasswordCost& cost) {
  const std::uint64_t operations = std::max<std::uint64_t>(cost.operations, 32768);
  const bool isMemoryPlenty = operations < cost.memory / 32;
  const std::uint64_t limit = isMemoryPlenty ? operations / 32 : cost.memory / 1024;
  int logN = 1;
  while (logN < 63 && std::uint64_t{1} << logN <= limit / 2) ++logN;
  if (isMemoryPlenty) return {logN, 1};
  const std::uint64_t product = std::min<std::uint64_t>(operations / 4 >> logN, 0x3fffffff);
  return {logN, static_cast<std::uint32_t>(product / 8)};
}

std::string Xor(std::string bytes, const std::string& mask) {
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(bytes[i] ^ mask[i]);
  return bytes;
}

std::string Mask(const std::string& password, std::string_view salt, const TPasswordCost& cost) {
  return Scrypt(password, salt, ScryptCost(cost), kHiddenSize);
}

std::string Checksum(const TSecretKey& key) {
  return acquire::Hash(EHash::kBlake2b256,
                       std::string(kAlgorithm) + key.id + std::string(key.key.Bytes()));
}

std::string Decode(std::string_view text) {
  const auto begin = text.find('\n');
  std::string_view line = begin == std::string_view::npos ? text : text.substr(begin + 1);
  line = line.substr(0, line.find_first_of("\r\n"));
  auto bytes = acquire::FromBase64(line);
  if (!bytes || bytes->size() != kHeadSize + kHiddenSize || !bytes->starts_with(kAlgorithm) ||
      bytes->substr(4, 2) != kChecksum)
    throw TError("this is no secret key of minisign");
  return *bytes;
}

std::string Part(const TSecret& secret, std::size_t begin, std::size_t size) {
  return std::string(secret.Bytes().substr(begin, size));
}

// The part that a password may hide.
std::string Reveal(std::string_view bytes, const std::function<std::string()>& password) {
  const std::string_view head = bytes.substr(0, kHeadSize);
  const std::string_view function = head.substr(2, 2);
  std::string hidden(bytes.substr(kHeadSize));
  if (function == kNoPassword) return hidden;
  if (function != kScrypt) throw TError("the secret key is protected in a way that is not known");
  const TPasswordCost cost{FromLittleEndian(head.substr(38)), FromLittleEndian(head.substr(46))};
  return Xor(std::move(hidden), Mask(password(), head.substr(6, kSaltSize), cost));
}

struct TRelease {
  void operator()(gcry_sexp* expression) const { gcry_sexp_release(expression); }
  void operator()(gcry_context* context) const { gcry_ctx_release(context); }
  void operator()(gcry_mpi* number) const { gcry_mpi_release(number); }
};
using TExpression = std::unique_ptr<gcry_sexp, TRelease>;

void Check(gcry_error_t error) {
  if (error != 0) throw TError(std::string("libgcrypt: ") + gcry_strerror(error));
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
  if (bytes == nullptr) throw TError("libgcrypt made no signature");
  return {bytes, size};
}

}  // namespace

TSecret::TSecret(std::string_view source)
    : bytes(std::make_unique<char[]>(source.size())), size(source.size()) {
  std::ranges::copy(source, bytes.get());
}

TSecret::~TSecret() {
  volatile char* const byte = bytes.get();
  for (std::size_t i = 0; byte != nullptr && i < size; ++i) byte[i] = 0;
}

TSecretKey OpenSecretKey(std::string_view text, const std::function<std::string()>& password) {
  const TSecret bytes(Decode(text));
  const TSecret open(Reveal(bytes.Bytes(), password));
  TSecretKey key{Part(open, 0, kIdSize), TSecret(Part(open, kIdSize, kKeySize))};
  const std::string checksum = Part(open, kIdSize + kKeySize, kChecksumSize);
  // A key that no password hides may come without a checksum; its halves belong together anyway.
  const bool isWhole =
      checksum == std::string(kChecksumSize, '\0')
          ? Ed25519PublicKey(Part(open, kIdSize, kSeedSize)) == PublicKeyOf(key).key
          : checksum == Checksum(key);
  if (!isWhole) throw TError("the password is wrong, or the secret key is damaged");
  return key;
}

TSecretKey NewSecretKey() {
  const std::string seed = RandomBytes(32);
  return {RandomBytes(kIdSize), TSecret(seed + Ed25519PublicKey(seed))};
}

acquire::TPublicKey PublicKeyOf(const TSecretKey& key) {
  return {key.id, std::string(key.key.Bytes().substr(32))};
}

std::string SecretKeyText(const TSecretKey& key, const std::optional<std::string>& password,
                          const TPasswordCost& cost) {
  const std::string salt = password ? RandomBytes(kSaltSize) : std::string(kSaltSize, '\0');
  std::string head(kAlgorithm);
  head += password ? kScrypt : kNoPassword;
  head += kChecksum;
  head += salt + LittleEndian(password ? cost.operations : 0) +
          LittleEndian(password ? cost.memory : 0);
  std::string hidden = key.id + std::string(key.key.Bytes()) +
                       (password ? Checksum(key) : std::string(kChecksumSize, '\0'));
  if (password) hidden = Xor(std::move(hidden), Mask(*password, salt, cost));
  return std::string("untrusted comment: minisign ") + (password ? "encrypted" : "unencrypted") +
         " secret key\n" + acquire::ToBase64(head + hidden) + "\n";
}

std::string PublicKeyText(const acquire::TPublicKey& key) {
  return "untrusted comment: minisign public key " + acquire::KeyNumber(key.id) + "\n" +
         acquire::ToBase64(std::string(kAlgorithm) + key.id + key.key) + "\n";
}

std::string SignatureText(const TSecretKey& key, std::string_view message,
                          const std::string& trustedComment) {
  const std::string_view secret = key.key.Bytes();
  const std::string signature = SignEd25519(secret, acquire::Hash(EHash::kBlake2b512, message));
  const std::string global = SignEd25519(secret, signature + trustedComment);
  return "untrusted comment: signature from svcheck\n" +
         acquire::ToBase64("ED" + key.id + signature) + "\ntrusted comment: " + trustedComment +
         "\n" + acquire::ToBase64(global) + "\n";
}

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
  if (bytes == nullptr) throw TError("libgcrypt made no public key");
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
    throw TError("the secret key's password is protected beyond reason");
  std::string bytes(size, '\0');
  Check(gcry_kdf_derive(password.data(), password.size(), GCRY_KDF_SCRYPT, 1 << cost.logN,
                        salt.data(), salt.size(), cost.p, bytes.size(), bytes.data()));
  return bytes;
}

}  // namespace svc::repository
