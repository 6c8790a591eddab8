#include <gcrypt.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <mutex>
#include <stdexcept>

#include "base/shown_text.h"
#include "runtime/acquire/crypto.h"

namespace svc::acquire {
namespace {

int Algorithm(EHash hash) {
  constexpr std::array kAlgorithms = {GCRY_MD_SHA256, GCRY_MD_SHA512, GCRY_MD_BLAKE2B_256,
                                      GCRY_MD_BLAKE2B_512};
  return kAlgorithms[static_cast<std::size_t>(hash)];
}

void Check(gcry_error_t error) {
  if (error != 0) throw std::runtime_error(std::string("libgcrypt: ") + gcry_strerror(error));
}

// libgcrypt ends the process where it finds no memory. The program shall say so and leave nothing
// behind, which is what its handler of std::terminate does.
void EndProcess(void* /*unused*/, int /*error*/, const char* text) noexcept {
  try {
    throw std::runtime_error(std::string("libgcrypt cannot go on: ") + text);
  } catch (...) {
    std::terminate();
  }
}

// What the library remarks in passing is nothing to the user: on Windows, that disks keep no
// statistics to draw chance from.
void Tell(void* /*unused*/, int level, const char* format, va_list arguments) {
  if (level <= GCRY_LOG_INFO) return;
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  ShowLine(text);
}

}  // namespace

// Another library of the process may have come first; then the library is ready already.
void StartCrypto() {
  static std::once_flag once;
  std::call_once(once, [] {
    gcry_set_fatalerror_handler(EndProcess, nullptr);
    if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) != 0) return;
    if (gcry_check_version("1.9.0") == nullptr) throw std::runtime_error("libgcrypt is too old");
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

}  // namespace svc::acquire
