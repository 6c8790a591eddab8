// What a query leaves, put aside while it runs and read again behind it: its records as they are
// committed, and what is to be told of it. Their number and the sum of their texts may be out of
// all proportion to what they were made of. Used by one thread.
#pragma once

#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/records.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

struct TCloseUnnamed {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using TUnnamedFile = std::unique_ptr<std::FILE, TCloseUnnamed>;

// A set by open addressing. `TRules` tells an element's key, the key's hash and a free place.
template <typename T, typename TRules>
class TOpenSet {
 public:
  // Null where there is none of the key. Valid until the next Add.
  const T* Find(const auto& key) const {
    if (places.empty()) return nullptr;
    const T& place = places[SlotOf(key)];
    return TRules::IsFree(place) ? nullptr : &place;
  }
  // REQUIRES: there is none of its key, and it is no free place.
  void Add(T element) {
    if (++count * 2 > places.size()) Grow();
    places[SlotOf(TRules::KeyOf(element))] = std::move(element);
  }

 private:
  // Of the key, or the free one where it belongs.
  std::size_t SlotOf(const auto& key) const {
    const std::size_t mask = places.size() - 1;
    std::size_t at = TRules::HashOf(key) & mask;
    while (!TRules::IsFree(places[at]) && TRules::KeyOf(places[at]) != key) at = (at + 1) & mask;
    return at;
  }
  void Grow() {
    std::vector<T> old(std::max<std::size_t>(64, places.size() * 2));
    old.swap(places);
    for (T& element : old) {
      if (!TRules::IsFree(element)) places[SlotOf(TRules::KeyOf(element))] = std::move(element);
    }
  }

  std::vector<T> places;  // A power of two; half of them are free at least.
  std::size_t count = 0;
};

// Texts that the writer shares are kept where they are, others once as long as they are few; what
// goes beyond that lies in a file without a name. Verdicts are not set.
class TRecordSpool : public IInstanceSink, public report::IRecordSource {
 public:
  TRecordSpool() = default;
  TRecordSpool(const TRecordSpool&) = delete;
  TRecordSpool& operator=(const TRecordSpool&) = delete;

  // Throws TError where there is no space, and from then on does nothing but keep the failure.
  void Take(const IWrittenInstance& instance) override;
  // Throws the failure that Take met.
  void DemandWhole() const;

  std::size_t Count() const noexcept override { return inFile + last.size(); }
  // Throws TError.
  void Read(std::size_t number, report::TRecord& record) const override;

 private:
  // A text in memory, or its place in the file of texts.
  struct TKept {
    std::uint64_t place = 0;
    std::uint64_t size : 63 = 0;
    std::uint64_t isInFile : 1 = 0;
  };
  static TKept InMemory(std::string_view text) noexcept {
    return {reinterpret_cast<std::uintptr_t>(text.data()), text.size(), 0};
  }
  // Of one in memory.
  static std::string_view ViewOf(const TKept& kept) noexcept {
    return {reinterpret_cast<const char*>(static_cast<std::uintptr_t>(kept.place)),
            static_cast<std::size_t>(kept.size)};
  }
  struct TEntry {
    TKept type, name, installed, offered;
  };
  // `before` is what the record before it has in its place: nearly always it is of the same type.
  TKept Keep(const NQRXHSK20::TSharedText& text, const TKept* before = nullptr);
  TKept KeepPooled(std::string_view text);
  TKept KeepInFile(std::string_view text);
  void Open(TUnnamedFile& file);
  // Of what Take met.
  [[noreturn]] void Fail(const std::string& why);
  void HoldOwner(const boost::shared_ptr<const void>& owner);
  void PutAside();
  const TEntry& EntryAt(std::size_t number) const;
  void Fill(std::string& text, const TKept& kept) const;

  struct TOwnerRules {
    static const void* KeyOf(const boost::shared_ptr<const void>& owner) { return owner.get(); }
    static std::uint64_t HashOf(const void* owner) {
      return Mix(reinterpret_cast<std::uintptr_t>(owner) ^ HashSeed(), kMixA);
    }
    static bool IsFree(const boost::shared_ptr<const void>& owner) { return !owner; }
  };
  struct TTextRules {
    static std::string_view KeyOf(std::string_view text) { return text; }
    static std::uint64_t HashOf(std::string_view text) { return HashText(text, HashSeed()); }
    static bool IsFree(std::string_view text) { return text.empty(); }
  };

  // What keeps the shared texts, each once.
  TOpenSet<boost::shared_ptr<const void>, TOwnerRules> owners;
  const void* lastOwner = nullptr;
  // The other texts, as long as they are few, and their bytes.
  TOpenSet<std::string_view, TTextRules> pool;
  TArena poolBytes;
  std::size_t poolSize = 0;
  TUnnamedFile texts;
  std::uint64_t textsSize = 0;
  // Those in the file come first.
  TUnnamedFile entries;
  std::size_t inFile = 0;
  std::vector<TEntry> last;
  // The part of the file that was read last.
  mutable std::vector<TEntry> window;
  mutable std::size_t windowBegin = 0;
  std::string failure;
};

// Records that stay in a namespace, with what the plug-in for public firmware tells beside their
// texts.
std::shared_ptr<const report::IRecordSource> RecordsOfInstances(
    std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>> instances);

// Texts. Few are kept in memory; what goes beyond that lies in a file without a name.
class TTextSpool {
 public:
  TTextSpool() = default;
  TTextSpool(const TTextSpool&) = delete;
  TTextSpool& operator=(const TTextSpool&) = delete;

  // Where there is no space it does nothing but keep the failure, since it is called from within
  // the query.
  void Add(std::string_view text);
  // Calls `use` with each in their order. Throws TError, also the failure that Add met.
  void ForEach(const std::function<void(std::string_view text)>& use) const;

 private:
  void PutAside();
  void ForEachInFile(const std::function<void(std::string_view text)>& use) const;

  std::string last;  // Each text behind its length.
  TUnnamedFile file;
  std::size_t inFile = 0;  // Texts.
  std::string failure;
};

}  // namespace svc
