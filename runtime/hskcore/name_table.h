// The names of a namespace as numbers, and the memory that they and its texts lie in: handed out
// piece by piece and given back all at once. Used by one thread.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
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
  // Takes over what another arena handed out, which is as new then.
  void TakeOver(TArena& other);

 private:
  char* AllocateSlowly(std::size_t size);
  HSKCORE_API void MakeRoom(std::size_t size);
  std::size_t NextBlockSize() const noexcept;

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

// The memory of a namespace's texts. Arrays lie apart from the others, one close behind the other:
// whoever walks over instances asks each for its machine types and hardly anything else, and the
// processor fetches ahead what is read in order.
struct TTextMemory {
  TTextMemory() = default;
  // Keeps another one alive, to whose texts those of a copy refer.
  explicit TTextMemory(boost::shared_ptr<const TTextMemory> below) : below(std::move(below)) {}
  // Takes over the texts of another one, which may have kept this one alive.
  void TakeOver(TTextMemory& other) {
    single.TakeOver(other.single);
    arrays.TakeOver(other.arrays);
    other.below.reset();
  }

  TArena single;
  TArena arrays;
  boost::shared_ptr<const TTextMemory> below;
};

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

// The names of a namespace's classes and properties, each kept once. Names that differ only in the
// case of ASCII letters are one name. Used by one thread; const operations by several.

// Numbers a name, from 0 in order of arrival.
using TNameId = std::uint32_t;
inline constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

class TNameTable {
 public:
  // What a namespace knows of a name.
  struct TEntry {
    // In the form that came first.
    TStoredText text;
    std::uint32_t hash;
    // The object being written that wrote this property last.
    std::uint32_t writtenIn;
    // The class of this name.
    std::uint32_t classId;
  };

  // kNone when there is no such name.
  TNameId Find(std::string_view name) const noexcept;
  TNameId FindOrAdd(std::string_view name, TArena& arena);
  std::uint32_t size() const noexcept { return entries.size(); }
  TEntry& operator[](TNameId id) noexcept { return entries[id]; }
  const TEntry& operator[](TNameId id) const noexcept { return entries[id]; }

 private:
  TNameId Find(std::string_view name, std::uint32_t hash) const noexcept;
  void Insert(TNameId id) noexcept;
  void Grow();

  TStableVector<TEntry> entries;
  // Open addressing; kNone where free.
  std::vector<TNameId> slots;
};

// Hashing of names and texts, seeded once a process, so that no document can be made to collide.
// May be used from any thread.

// Drawn at random when it is first asked for.
HSKCORE_API std::uint64_t HashSeed() noexcept;

// Multiplies to 128 bits and folds the halves: every bit of the result depends on every bit given.
inline std::uint64_t Mix(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using TWide = unsigned __int128;
  const TWide product = static_cast<TWide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline constexpr std::uint64_t kMixA = 0x9e3779b97f4a7c15;
inline constexpr std::uint64_t kMixB = 0xd1b54a32d192ed03;

inline std::uint64_t LoadWord(const char* bytes) noexcept {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// A text of up to 7 bytes as a number that no other text of its length has.
inline std::uint64_t LoadShort(std::string_view text) noexcept {
  if (text.size() >= 4) {
    std::uint32_t first;
    std::uint32_t last;
    std::memcpy(&first, text.data(), sizeof first);
    std::memcpy(&last, text.data() + text.size() - sizeof last, sizeof last);
    return (static_cast<std::uint64_t>(last) << 32) | first;
  }
  const auto byteAt = [&](std::size_t at) -> std::uint64_t {
    return static_cast<unsigned char>(text[at]);
  };
  return text.empty()
             ? 0
             : byteAt(0) | (byteAt(text.size() / 2) << 8) | (byteAt(text.size() - 1) << 16);
}

// The last bytes of a text of at least 8 are read as one whole word that overlaps what came before.
template <typename TFold>
std::uint64_t HashWords(std::string_view text, std::uint64_t seed, TFold fold) noexcept {
  const char* at = text.data();
  std::size_t left = text.size();
  std::uint64_t hash = seed ^ (left * kMixB);
  if (left < 8) {
    return Mix(hash ^ fold(LoadShort(text)), kMixA);
  }
  for (; left > 16; at += 16, left -= 16) {
    hash = Mix(fold(LoadWord(at)) ^ kMixA, fold(LoadWord(at + 8)) ^ hash);
  }
  const char* last = text.data() + text.size() - 8;
  const std::uint64_t first = left > 8 ? fold(LoadWord(at)) : 0;
  return Mix(Mix(first ^ kMixA, fold(LoadWord(last)) ^ hash), kMixB);
}

inline std::uint64_t HashText(std::string_view text, std::uint64_t seed) noexcept {
  return HashWords(text, seed, [](std::uint64_t word) { return word; });
}

// Eight bytes with A to Z made a to z, all at once; other bytes stay as they are.
inline std::uint64_t FoldCase(std::uint64_t word) noexcept {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  const std::uint64_t low = word & (0x7f * kEach);
  const std::uint64_t fromA = low + (0x80 - 'A') * kEach;
  const std::uint64_t beyondZ = low + (0x7f - 'Z') * kEach;
  const std::uint64_t isUpper = (fromA ^ beyondZ) & ~word & (0x80 * kEach);
  return word | (isUpper >> 2);
}

// Equal for names that differ only in the case of ASCII letters.
inline std::uint64_t HashName(std::string_view name, std::uint64_t seed) noexcept {
  return HashWords(name, seed, FoldCase);
}

inline bool SameName(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) {
    return false;
  }
  if (a.size() < 8) {
    return FoldCase(LoadShort(a)) == FoldCase(LoadShort(b));
  }
  const auto sameAt = [&](std::size_t at) {
    return FoldCase(LoadWord(a.data() + at)) == FoldCase(LoadWord(b.data() + at));
  };
  for (std::size_t at = 0; at + 8 < a.size(); at += 8) {
    if (!sameAt(at)) {
      return false;
    }
  }
  return sameAt(a.size() - 8);
}

}  // namespace svc
