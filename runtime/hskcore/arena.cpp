#include "runtime/hskcore/arena.h"

#include <algorithm>

namespace svc {

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
  MakeRoom(size);
  return Allocate(size);
}

void TArena::MakeRoom(std::size_t size) {
  std::size_t nextSize = spare ? spare.get_deleter().size
                               : std::min(std::max(blockSize * 2, kFirstBlock), kLargestBlock);
  if (spare && size <= nextSize) {
    next = pageBlocks.emplace_back(std::move(spare)).get();
  } else {
    nextSize = std::max(nextSize, size);
    next = blocks.emplace_back(std::make_unique_for_overwrite<char[]>(nextSize)).get();
    blockSize = std::min(nextSize, kLargestBlock);
  }
  end = next + nextSize;
}

}  // namespace svc
