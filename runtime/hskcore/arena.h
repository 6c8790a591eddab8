// Memory that is handed out piece by piece and given back all at once. Used by one thread.
#ifndef RUNTIME_HSKCORE_ARENA_H_
#define RUNTIME_HSKCORE_ARENA_H_

#include <array>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/export.h"

namespace svc {

// Pieces never move and live as long as the arena. Blocks grow with what was asked for; a piece
// that would waste much of a block gets a block of its own.
class TArena {
 public:
  TArena() = default;
  // Keeps another arena alive, to whose pieces those of this one may refer.
  explicit TArena(boost::shared_ptr<const TArena> below) : below(std::move(below)) {}
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

  // Where so many bytes can be written; what was then is kept by Take, up to its end.
  char* Room(std::size_t size) {
    if (size > static_cast<std::size_t>(end - next)) MakeRoom(size);
    return next;
  }
  void Take(char* writtenEnd) noexcept { next = writtenEnd; }
  // Takes over what another arena handed out, which is as new then. It may have kept this one
  // alive.
  void TakeOver(TArena& other);

 private:
  char* AllocateSlowly(std::size_t size);
  HSKCORE_API void MakeRoom(std::size_t size);
  std::size_t NextBlockSize() const noexcept;

  boost::shared_ptr<const TArena> below;
  std::vector<std::unique_ptr<char[]>> blocks;
  char* next = nullptr;
  char* end = nullptr;
  std::size_t blockSize = 0;
};

// A length in as few bytes as it needs: seven bits in each, the lowest first, and the highest bit
// set in all but the last. Written and read where `at` points, which is moved behind it.
inline constexpr std::size_t kLongestLength = 10;

inline void WriteLength(char*& at, std::uint64_t length) noexcept {
  for (; length >= 0x80; length >>= 7) {
    *at++ = static_cast<char>(length | 0x80);
  }
  *at++ = static_cast<char>(length);
}

inline std::uint64_t ReadLength(const char*& at) noexcept {
  std::uint64_t length = static_cast<unsigned char>(*at) & 0x7f;
  for (int shift = 7; (*at++ & 0x80) != 0; shift += 7) {
    length |= (static_cast<std::uint64_t>(*at) & 0x7f) << shift;
  }
  return length;
}

// A text in an arena: its length, then its bytes.
using TStoredText = const char*;

inline std::string_view ViewOf(TStoredText text) noexcept {
  const std::uint64_t length = ReadLength(text);
  return {text, length};
}

inline TStoredText StoreText(TArena& arena, std::string_view text) {
  std::size_t lengthSize = 1;
  for (std::uint64_t rest = text.size(); rest >= 0x80; rest >>= 7) ++lengthSize;
  char* const stored = arena.Allocate(lengthSize + text.size());
  char* at = stored;
  WriteLength(at, text.size());
  text.copy(at, text.size());
  return stored;
}

// A growing array whose elements never move and which copies none when it grows.
template <typename T>
class TStableVector {
 public:
  TStableVector() = default;
  TStableVector(const TStableVector& other) {
    for (std::uint32_t i = 0; i < other.count; ++i) Append(other[i]);
  }
  TStableVector& operator=(const TStableVector&) = delete;

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
