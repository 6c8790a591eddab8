#include "runtime/hskcore/text_pool.h"

#include <cstring>

#include "runtime/hskcore/hash.h"

namespace svc {

namespace {

// Longer texts hardly repeat, and hashing them would cost more than copying.
constexpr std::size_t kLongestShared = 1 << 16;
// The table takes at most this part of the texts stored and saved, beyond a small allowance.
constexpr std::uint64_t kTablePart = 8;
constexpr std::uint64_t kAllowance = 4096;
constexpr std::uint64_t kStoredTextHeader = sizeof(std::uint32_t);

bool HoldsBytes(TStoredText stored, std::string_view text) noexcept {
  return std::memcmp(stored + kStoredTextHeader, text.data(), text.size()) == 0;
}

}  // namespace

TStoredText TTextPool::Intern(std::string_view text, TArena& arena) {
  if (text.size() > kLongestShared) {
    return StoreText(arena, text);
  }
  const auto hash = static_cast<std::uint32_t>(HashText(text, HashSeed()));
  if (buckets.empty()) {
    buckets.resize(1);
  }
  for (const TEntry& entry : BucketOf(hash)) {
    if (entry.hash == hash && entry.text != nullptr && entry.length == text.size() &&
        HoldsBytes(entry.text, text)) {
      savedBytes += text.size() + kStoredTextHeader;
      return entry.text;
    }
  }
  const TStoredText stored = StoreText(arena, text);
  storedBytes += text.size() + kStoredTextHeader;
  GrowWithinBudget();
  Remember({stored, hash, static_cast<std::uint32_t>(text.size())});
  return stored;
}

// A full bucket forgets the entry that the new hash's upper bits choose.
void TTextPool::Remember(const TEntry& entry) noexcept {
  TBucket& bucket = BucketOf(entry.hash);
  for (TEntry& place : bucket) {
    if (place.text == nullptr) {
      place = entry;
      ++known;
      return;
    }
  }
  bucket[entry.hash >> 30] = entry;
}

void TTextPool::GrowWithinBudget() {
  const std::uint64_t grown = 2 * buckets.size() * sizeof(TBucket);
  const std::uint64_t budget = kAllowance + (storedBytes + 2 * savedBytes) / kTablePart;
  if (known < buckets.size() * kWays / 2 || grown > budget) {
    return;
  }
  std::vector<TBucket> old(buckets.size() * 2);
  old.swap(buckets);
  known = 0;
  for (const TBucket& bucket : old) {
    for (const TEntry& entry : bucket) {
      if (entry.text != nullptr) {
        Remember(entry);
      }
    }
  }
}

}  // namespace svc
