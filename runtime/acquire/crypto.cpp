#include "runtime/acquire/crypto.h"

#include <gcrypt.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <cstdarg>
#include <cstdint>
#include <exception>
#include <mutex>

#include "base/error.h"
#include "base/shown_text.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {
static int Algorithm(EHash hash) {
  constexpr std::array kAlgorithms = {GCRY_MD_SHA256, GCRY_MD_SHA512, GCRY_MD_BLAKE2B_256,
                                      GCRY_MD_BLAKE2B_512, GCRY_MD_SHA1};
  return kAlgorithms[static_cast<std::size_t>(hash)];
}

static void Check(gcry_error_t error) {
  if (error != 0) throw TError(std::string("libgcrypt: ") + gcry_strerror(error));
}

// libgcrypt ends the process where it finds no memory. The program shall say so and leave nothing
// behind, which is what its handler of std::terminate does.
static void EndProcess(void* /*unused*/, int /*error*/, const char* text) noexcept {
  try {
    throw TError(std::string("libgcrypt cannot go on: ") + text);
  } catch (...) {
    std::terminate();
  }
}

// What the library remarks in passing is nothing to the user: on Windows, that disks keep no
// statistics to draw chance from.
static void Tell(void* /*unused*/, int level, const char* format, va_list arguments) {
  if (level <= GCRY_LOG_INFO) return;
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  ShowLine(text);
}

constexpr std::string_view kUntrusted = "untrusted comment:";
constexpr std::string_view kTrusted = "trusted comment: ";
constexpr std::string_view kLegacy = "Ed";
constexpr std::string_view kPrehashed = "ED";
constexpr std::size_t kIdSize = 8;

// Takes a line off the text, without its end.
static std::string_view TakeLine(std::string_view& text) {
  const auto end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  while (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

// A line of base64 of so many bytes.
static std::optional<std::string> DecodeLine(std::string_view line, std::size_t size) {
  auto bytes = FromBase64(line);
  if (bytes && bytes->size() != size) bytes.reset();
  return bytes;
}

static TError BadSignature(const std::string& why) {
  return DownloadError(EOutcome::kBadSignature, "the manifest's signature " + why);
}

// Another library of the process may have come first; then the library is ready already.
void StartCrypto() {
  static std::once_flag once;
  std::call_once(once, [] {
    gcry_set_fatalerror_handler(EndProcess, nullptr);
    if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) != 0) return;
    if (gcry_check_version("1.8.0") == nullptr) throw TError("libgcrypt is too old");
    gcry_set_log_handler(Tell, nullptr);
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  });
}

struct THasher::TState {
  gcry_md_hd_t handle = nullptr;
  int algorithm;

  explicit TState(EHash hash) : algorithm(Algorithm(hash)) {
    StartCrypto();
    Check(gcry_md_open(&handle, algorithm, 0));
  }
  ~TState() { gcry_md_close(handle); }
};

THasher::THasher(EHash hash) : state(std::make_unique<TState>(hash)) {}
THasher::~THasher() = default;
THasher::THasher(THasher&&) noexcept = default;
THasher& THasher::operator=(THasher&&) noexcept = default;

void THasher::Update(std::string_view bytes) {
  gcry_md_write(state->handle, bytes.data(), bytes.size());
}

std::string THasher::Digest() {
  const unsigned char* digest = gcry_md_read(state->handle, state->algorithm);
  return {reinterpret_cast<const char*>(digest), gcry_md_get_algo_dlen(state->algorithm)};
}

std::string Hash(EHash hash, std::string_view bytes) {
  THasher hasher(hash);
  hasher.Update(bytes);
  return hasher.Digest();
}

// The library's own check takes messages of less than 64 KiB, and a manifest may be longer; so the
// equation is written here over the library's curve. All values are public: nothing to hide in
// timing.

namespace {

struct TRelease {
  void operator()(gcry_mpi* number) const { gcry_mpi_release(number); }
  void operator()(gcry_mpi_point* point) const { gcry_mpi_point_release(point); }
  void operator()(gcry_context* context) const { gcry_ctx_release(context); }
};
using TNumber = std::unique_ptr<gcry_mpi, TRelease>;
using TPoint = std::unique_ptr<gcry_mpi_point, TRelease>;
using TCurve = std::unique_ptr<gcry_context, TRelease>;

TCurve Edwards25519() {
  gcry_ctx_t curve = nullptr;
  if (gcry_mpi_ec_new(&curve, nullptr, "Ed25519") != 0)
    throw TError("libgcrypt does not offer Ed25519");
  return TCurve(curve);
}

TNumber FromLittleEndian(std::string_view bytes) {
  const std::string bigEndian(bytes.rbegin(), bytes.rend());
  gcry_mpi_t number = nullptr;
  if (gcry_mpi_scan(&number, GCRYMPI_FMT_USG, bigEndian.data(), bigEndian.size(), nullptr) != 0)
    throw TError("libgcrypt cannot read a number");
  return TNumber(number);
}

// Nothing where the bytes are no point of the curve.
TPoint Decode(std::string_view bytes, const TCurve& curve) {
  TNumber encoded(gcry_mpi_new(0));
  gcry_mpi_set_opaque_copy(encoded.get(), bytes.data(), static_cast<unsigned>(bytes.size() * 8));
  TPoint point(gcry_mpi_point_new(0));
  if (gcry_mpi_ec_decode_point(point.get(), encoded.get(), curve.get()) != 0) return nullptr;
  return point;
}

// RFC 8032, section 5.1.2: y in little-endian order, the lowest bit of x on top.
std::string Encode(const TPoint& point, const TCurve& curve) {
  const TNumber x(gcry_mpi_new(0));
  const TNumber y(gcry_mpi_new(0));
  if (gcry_mpi_ec_get_affine(x.get(), y.get(), point.get(), curve.get()) != 0) return {};
  std::string bytes(kEd25519KeySize, '\0');
  std::size_t written = 0;
  if (gcry_mpi_print(GCRYMPI_FMT_USG, reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(),
                     &written, y.get()) != 0)
    return {};
  std::reverse(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(written));
  if (gcry_mpi_test_bit(x.get(), 0) != 0) bytes.back() = static_cast<char>(bytes.back() | 0x80);
  return bytes;
}

TNumber Challenge(std::string_view r, std::string_view key, std::string_view message,
                  gcry_mpi_t order) {
  THasher hasher(EHash::kSha512);
  for (const auto part : {r, key, message}) hasher.Update(part);
  TNumber challenge = FromLittleEndian(hasher.Digest());
  gcry_mpi_mod(challenge.get(), challenge.get(), order);
  return challenge;
}

}  // namespace

// R = S·B - k·A, where A is the key and k the challenge.
bool IsSignedEd25519(std::string_view key, std::string_view message, std::string_view signature) {
  if (key.size() != kEd25519KeySize || signature.size() != kEd25519SignatureSize) return false;
  StartCrypto();
  const TCurve curve = Edwards25519();
  const TNumber order(gcry_mpi_ec_get_mpi("n", curve.get(), 1));
  const TPoint base(gcry_mpi_ec_get_point("g", curve.get(), 1));
  const TPoint holder = Decode(key, curve);
  const TNumber s = FromLittleEndian(signature.substr(32));
  if (!holder || gcry_mpi_cmp(s.get(), order.get()) >= 0) return false;
  const TNumber k = Challenge(signature.substr(0, 32), key, message, order.get());
  const TPoint left(gcry_mpi_point_new(0));
  const TPoint right(gcry_mpi_point_new(0));
  const TPoint r(gcry_mpi_point_new(0));
  gcry_mpi_ec_mul(left.get(), s.get(), base.get(), curve.get());
  gcry_mpi_ec_mul(right.get(), k.get(), holder.get(), curve.get());
  gcry_mpi_ec_sub(r.get(), left.get(), right.get(), curve.get());
  return Encode(r, curve) == signature.substr(0, 32);
}

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

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Three bytes are four digits; what is missing of the last three is written as "=".
static void AppendGroup(std::string& text, std::string_view bytes) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < 3; ++i)
    bits = bits << 8 | (i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0);
  for (std::size_t i = 0; i < 4; ++i)
    text += i <= bytes.size() ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
}

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
