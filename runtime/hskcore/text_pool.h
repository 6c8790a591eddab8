// Stores equal texts once. Used by one thread.
#ifndef RUNTIME_HSKCORE_TEXT_POOL_H_
#define RUNTIME_HSKCORE_TEXT_POOL_H_

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "runtime/hskcore/arena.h"

namespace svc {

// The texts of one property. The table of known texts never takes more than a fixed part of what
// the texts take and of what it saved: texts that do not repeat cost next to nothing, and texts
// that begin to repeat late make the table grow then. When it may not grow it forgets some.
class TTextPool {
 public:
  // A stored text equal to the one given: a known one where there is one.
  // REQUIRES: the same arena each time.
  TStoredText Intern(std::string_view text, TArena& arena);

  // The same in steps, between which the caller does something else, so that the processor fetches
  // meanwhile what the next one reads. First whether the text is looked up at all; if not it is to
  // be stored. REQUIRES: no other text in between.
  bool IsLookedUp(std::string_view text) noexcept {
    return text.size() <= kLongestShared && !IsSkipped();
  }
  std::uint32_t Announce(std::string_view text);
  void Approach(std::uint32_t hash) const noexcept;
  TStoredText InternLookedUp(std::string_view text, std::uint32_t hash, TArena& arena);

 private:
  // Longer texts hardly repeat, and hashing them would cost more than copying.
  static constexpr std::size_t kLongestShared = 1 << 16;

  // Where texts of one hash may stand, one cache line. Null where free.
  static constexpr std::size_t kWays = 5;
  struct alignas(64) TBucket {
    std::array<std::uint32_t, kWays> hashes{};
    std::array<TStoredText, kWays> texts{};
  };

  TBucket& BucketOf(std::uint32_t hash) noexcept { return buckets[hash & (buckets.size() - 1)]; }
  const TBucket& BucketOf(std::uint32_t hash) const noexcept {
    return buckets[hash & (buckets.size() - 1)];
  }
  // Null when it is not known.
  TStoredText Find(std::string_view text, std::uint32_t hash) noexcept;
  bool IsSkipped() noexcept;
  void Remember(TStoredText text, std::uint32_t hash) noexcept;
  void GrowWithinBudget();

  std::vector<TBucket> buckets;
  std::uint64_t storedBytes = 0;
  std::uint64_t savedBytes = 0;
  std::uint32_t known = 0;
  // One text in `stride` is looked up; how many are left to skip, and what the last looks gave.
  std::uint32_t stride = 1;
  std::uint32_t toSkip = 0;
  std::uint32_t looks = 0;
  std::uint32_t finds = 0;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_TEXT_POOL_H_
