#include "runtime/hskcore/arena.h"

#include <algorithm>
#include <iterator>

namespace svc {

namespace {

constexpr std::size_t kFirstBlock = 4096;
constexpr std::size_t kLargestBlock = 1 << 20;
// A piece above this part of a block gets its own, so that the rest of a block left for a new one
// is never more than that part.
constexpr std::size_t kOwnBlockPart = 8;

}  // namespace

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
  other.below.reset();
}

std::size_t TArena::NextBlockSize() const noexcept {
  return std::min(std::max(blockSize * 2, kFirstBlock), kLargestBlock);
}

}  // namespace svc
