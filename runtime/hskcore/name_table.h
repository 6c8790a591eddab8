// The names of a namespace's classes and properties, each kept once. Names that differ only in the
// case of ASCII letters are one name. Used by one thread; const operations by several.
#ifndef RUNTIME_HSKCORE_NAME_TABLE_H_
#define RUNTIME_HSKCORE_NAME_TABLE_H_

#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "runtime/hskcore/arena.h"

namespace svc {

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
    // How many texts were stored under the name until it got a pool, and the pool's number then.
    std::uint32_t texts;
    std::uint32_t pool;
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

}  // namespace svc

#endif  // RUNTIME_HSKCORE_NAME_TABLE_H_
