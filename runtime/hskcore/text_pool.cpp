#include "runtime/hskcore/text_pool.h"

#include <algorithm>

#include "runtime/hskcore/name_table.h"

namespace svc {

namespace {

// The table takes at most this part of the texts stored and saved, beyond a small allowance.
constexpr std::uint64_t kTablePart = 4;
constexpr std::uint64_t kAllowance = 4096;
// After so many looks it is decided how many texts the next ones may leave out: none where more
// than one in eight was found, ever more where hardly one was.
constexpr std::uint32_t kLooksToJudge = 64;
constexpr std::uint32_t kFindsToLookAlways = 8;
constexpr std::uint32_t kFindsToLookLess = 2;
constexpr std::uint32_t kLongestStride = 16;

}  // namespace

TStoredText TTextPool::Intern(std::string_view text, TArena& arena) {
  if (text.size() > kLongestShared || IsSkipped()) return StoreText(arena, text);
  if (buckets.empty()) buckets.resize(1);
  const auto hash = static_cast<std::uint32_t>(HashText(text, HashSeed()));
  if (const TStoredText found = Find(text, hash)) {
    ++finds;
    savedBytes += text.size() + 1;
    return found;
  }
  const TStoredText stored = StoreText(arena, text);
  storedBytes += text.size() + 1;
  GrowWithinBudget();
  Remember(stored, hash);
  return stored;
}

// Looking for a text that is in no cache costs more than storing it. Where texts do not repeat only
// a sample is looked up; it shows when they begin to.
bool TTextPool::IsSkipped() noexcept {
  if (toSkip != 0) {
    --toSkip;
    return true;
  }
  if (++looks == kLooksToJudge) {
    if (finds >= kFindsToLookAlways) {
      stride = 1;
    } else if (finds <= kFindsToLookLess) {
      stride = std::min(stride * 2, kLongestStride);
    }
    looks = finds = 0;
  }
  toSkip = stride - 1;
  return false;
}

TStoredText TTextPool::Find(std::string_view text, std::uint32_t hash) noexcept {
  const TBucket& bucket = BucketOf(hash);
  for (std::size_t way = 0; way < kWays; ++way) {
    if (bucket.hashes[way] == hash && bucket.texts[way] != nullptr &&
        ViewOf(bucket.texts[way]) == text) {
      return bucket.texts[way];
    }
  }
  return nullptr;
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

namespace {

constexpr std::size_t kFirstBlock = 4096;
constexpr std::size_t kLargestBlock = 1 << 20;
// A piece above this part of a block gets its own, so that the rest of a block left for a new one
// is never more than that part.
constexpr std::size_t kOwnBlockPart = 8;

}  // namespace

char* TArena::AllocateSlowly(std::size_t size) {
  const std::size_t nextSize = spare
                                   ? spare.get_deleter().size
                                   : std::min(std::max(blockSize * 2, kFirstBlock), kLargestBlock);
  if (size > nextSize / kOwnBlockPart) {
    return blocks.emplace_back(std::make_unique_for_overwrite<char[]>(size)).get();
  }
  if (spare) {
    next = pageBlocks.emplace_back(std::move(spare)).get();
  } else {
    next = blocks.emplace_back(std::make_unique_for_overwrite<char[]>(nextSize)).get();
    blockSize = nextSize;
  }
  end = next + nextSize;
  return Allocate(size);
}

}  // namespace svc
