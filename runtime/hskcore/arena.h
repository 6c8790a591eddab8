// Memory that is handed out piece by piece and given back all at once. Used by one thread.
#ifndef RUNTIME_HSKCORE_ARENA_H_
#define RUNTIME_HSKCORE_ARENA_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace svc {

// Pieces never move and live as long as the arena. Blocks grow with what was asked for; a piece
// that would waste much of a block gets a block of its own.
class TArena {
 public:
  TArena() = default;
  TArena(const TArena&) = delete;
  TArena& operator=(const TArena&) = delete;

  char* Allocate(std::size_t size) {
    if (size > static_cast<std::size_t>(end - next)) {
      return AllocateSlowly(size);
    }
    char* piece = next;
    next += size;
    return piece;
  }

 private:
  char* AllocateSlowly(std::size_t size);

  std::vector<std::unique_ptr<char[]>> blocks;
  char* next = nullptr;
  char* end = nullptr;
  std::size_t blockSize = 0;
};

// A text in an arena: its length in four bytes, then its bytes. No alignment.
using TStoredText = const char*;

inline std::string_view ViewOf(TStoredText text) noexcept {
  std::uint32_t length;
  std::memcpy(&length, text, sizeof length);
  return {text + sizeof length, length};
}

// Throws THSKException (kFailed) for a text of 4 GiB or more.
TStoredText StoreText(TArena& arena, std::string_view text);

// A growing array whose elements never move and which copies none when it grows.
template <typename T>
class TStableVector {
 public:
  T& operator[](std::size_t index) noexcept { return chunks[index / kChunk][index % kChunk]; }
  const T& operator[](std::size_t index) const noexcept {
    return chunks[index / kChunk][index % kChunk];
  }
  std::uint32_t size() const noexcept { return count; }
  T& back() noexcept { return (*this)[count - 1]; }

  // The new element's index.
  std::uint32_t Append(const T& element) {
    if (count % kChunk == 0) {
      chunks.push_back(std::make_unique_for_overwrite<T[]>(kChunk));
    }
    (*this)[count] = element;
    return count++;
  }

 private:
  static constexpr std::size_t kChunk = 256;
  std::vector<std::unique_ptr<T[]>> chunks;
  std::uint32_t count = 0;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_ARENA_H_
