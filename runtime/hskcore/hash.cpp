#include "runtime/hskcore/hash.h"

#include <random>

namespace svc {

namespace {

std::uint64_t DrawSeed() noexcept {
  try {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32) | device();
  } catch (...) {
    // No source of randomness: the address differs from process to process at least.
    static const char place = 0;
    return Mix(reinterpret_cast<std::uintptr_t>(&place), kMixA);
  }
}

}  // namespace

std::uint64_t HashSeed() noexcept {
  static const std::uint64_t seed = DrawSeed();
  return seed;
}

}  // namespace svc
