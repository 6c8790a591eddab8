#include "runtime/hskcore/text_pool.h"

#include "runtime/hskcore/hash.h"

namespace svc {

namespace {

// Longer texts hardly repeat, and hashing them would cost more than copying.
constexpr std::size_t kLongestShared = 1 << 16;
// The table takes at most this part of the texts stored and saved, beyond a small allowance.
constexpr std::uint64_t kTablePart = 4;
constexpr std::uint64_t kAllowance = 4096;

}  // namespace

TStoredText TTextPool::Intern(std::string_view text, TArena& arena) {
  if (text.size() > kLongestShared) {
    return StoreText(arena, text);
  }
  const auto hash = static_cast<std::uint32_t>(HashText(text, HashSeed()));
  if (buckets.empty()) {
    buckets.resize(1);
  }
  const TBucket& bucket = BucketOf(hash);
  for (std::size_t way = 0; way < kWays; ++way) {
    if (bucket.hashes[way] == hash && bucket.texts[way] != nullptr &&
        ViewOf(bucket.texts[way]) == text) {
      savedBytes += text.size() + 1;
      return bucket.texts[way];
    }
  }
  const TStoredText stored = StoreText(arena, text);
  storedBytes += text.size() + 1;
  GrowWithinBudget();
  Remember(stored, hash);
  return stored;
}

// A full bucket forgets the text that the hash's upper bits choose.
void TTextPool::Remember(TStoredText text, std::uint32_t hash) noexcept {
  TBucket& bucket = BucketOf(hash);
  std::size_t way = 0;
  while (way < kWays && bucket.texts[way] != nullptr) {
    ++way;
  }
  if (way < kWays) {
    ++known;
  } else {
    way = (hash >> 24) % kWays;
  }
  bucket.hashes[way] = hash;
  bucket.texts[way] = text;
}

void TTextPool::GrowWithinBudget() {
  const std::uint64_t grown = 2 * buckets.size() * sizeof(TBucket);
  const std::uint64_t budget = kAllowance + (storedBytes + 2 * savedBytes) / kTablePart;
  if (known < buckets.size() * kWays * 3 / 4 || grown > budget) {
    return;
  }
  std::vector<TBucket> old(buckets.size() * 2);
  old.swap(buckets);
  known = 0;
  for (const TBucket& bucket : old) {
    for (std::size_t way = 0; way < kWays; ++way) {
      if (bucket.texts[way] != nullptr) {
        Remember(bucket.texts[way], bucket.hashes[way]);
      }
    }
  }
}

}  // namespace svc
