#include "runtime/hskcore/name_table.h"

#include <algorithm>
#include <iterator>
#include <random>

namespace svc {

constexpr std::size_t kFirstBlock = 4096;
constexpr std::size_t kLargestBlock = 1 << 20;
// A piece above this part of a block gets its own, so that the rest of a block left for a new one
// is never more than that part.
constexpr std::size_t kOwnBlockPart = 8;

char* TArena::AllocateSlowly(std::size_t size) {
  if (size > NextBlockSize() / kOwnBlockPart) {
    return blocks.emplace_back(std::make_unique_for_overwrite<char[]>(size)).get();
  }
  MakeRoom(size);
  return Allocate(size);
}

void TArena::MakeRoom(std::size_t size) {
  blockSize = NextBlockSize();
  const std::size_t thisSize = std::max(blockSize, size);
  next = blocks.emplace_back(std::make_unique_for_overwrite<char[]>(thisSize)).get();
  end = next + thisSize;
}

void TArena::TakeOver(TArena& other) {
  blocks.insert(blocks.end(), std::make_move_iterator(other.blocks.begin()),
                std::make_move_iterator(other.blocks.end()));
  other.blocks.clear();
  other.next = other.end = nullptr;
  other.blockSize = 0;
}

std::size_t TArena::NextBlockSize() const noexcept {
  return std::min(std::max(blockSize * 2, kFirstBlock), kLargestBlock);
}

static std::uint32_t HashOf(std::string_view name) noexcept {
  return static_cast<std::uint32_t>(HashName(name, HashSeed()));
}

TNameId TNameTable::Find(std::string_view name) const noexcept { return Find(name, HashOf(name)); }

TNameId TNameTable::FindOrAdd(std::string_view name, TArena& arena) {
  const std::uint32_t hash = HashOf(name);
  const TNameId found = Find(name, hash);
  if (found != kNone) {
    return found;
  }
  Grow();
  const TNameId id = entries.Append({StoreText(arena, name), hash, 0, kNone});
  Insert(id);
  return id;
}

TNameId TNameTable::Find(std::string_view name, std::uint32_t hash) const noexcept {
  if (slots.empty()) {
    return kNone;
  }
  const std::size_t mask = slots.size() - 1;
  for (std::size_t at = hash & mask; slots[at] != kNone; at = (at + 1) & mask) {
    const TEntry& entry = entries[slots[at]];
    if (entry.hash == hash && SameName(ViewOf(entry.text), name)) {
      return slots[at];
    }
  }
  return kNone;
}

void TNameTable::Insert(TNameId id) noexcept {
  const std::size_t mask = slots.size() - 1;
  std::size_t at = entries[id].hash & mask;
  while (slots[at] != kNone) {
    at = (at + 1) & mask;
  }
  slots[at] = id;
}

// Keeps room for one more name at a load of three quarters.
void TNameTable::Grow() {
  if ((entries.size() + 1) * std::size_t{4} <= slots.size() * 3) {
    return;
  }
  slots.assign(std::max<std::size_t>(64, slots.size() * 2), kNone);
  for (TNameId id = 0; id < entries.size(); ++id) {
    Insert(id);
  }
}

static std::uint64_t DrawSeed() noexcept {
  try {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32) | device();
  } catch (...) {
    // No source of randomness: the address differs from process to process at least.
    static const char place = 0;
    return Mix(reinterpret_cast<std::uintptr_t>(&place), kMixA);
  }
}

std::uint64_t HashSeed() noexcept {
  static const std::uint64_t seed = DrawSeed();
  return seed;
}

}  // namespace svc
