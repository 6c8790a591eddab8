// The handles of an in-memory namespace: namespace, class, instance and property as a plug-in sees
// them, and how an instance's property is found by the number of its name. Used by one thread.
#pragma once

#include <array>
#include <atomic>
#include <boost/smart_ptr/enable_shared_from_this.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/cell.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

// Remembers what it found for a shape, a class and a name: instances come in rows of one kind.
class TPropertyFinder {
 public:
  struct TFound {
    TForm form;
    TCell cell;
    // Which of the instance's cells it is; kNone for a declared one.
    std::uint32_t place;
  };

  // What the instance writes or else what its class says of it; false when there is neither.
  // REQUIRES: the same state each time.
  bool Find(const TCimState& state, TRowId row, TNameId name, TFound& found);

 private:
  // Where a property is: the shape whose last property it is, or the declaration, or neither.
  struct TPlace {
    TShapeId shape = kNone;
    TClassId classId = kNoClass;
    TNameId name = kNone;
    TShapeId writer = kNone;
    const TDeclaration* declaration = nullptr;
  };
  struct TIndexed {
    TShapeId shape = kNone;
    TNameId name = kNone;
    TShapeId writer = kNone;
  };

  struct TMix {
    std::size_t operator()(std::uint64_t key) const noexcept {
      return Mix(key ^ HashSeed(), kMixA);
    }
  };

  TPlace Locate(const TCimState& state, const TRow& row, TNameId name);
  const TDeclaration* FindInherited(const TCimState& state, TClassId classId, TNameId name);
  TShapeId FindWriter(const TShapeTable& shapes, TShapeId shape, TNameId name);
  void Index(const TShapeTable& shapes, TShapeId shape);
  TIndexed& IndexSlot(TShapeId shape, TNameId name) noexcept;

  std::array<TPlace, 256> recent;
  std::uint32_t generation = 0;
  // What was found for some classes of a long line, by class and name.
  std::unordered_map<std::uint64_t, const TDeclaration*, TMix> inherited;
  // Open addressing; the properties of long shapes that were asked for, and each such shape itself
  // under the name kNone.
  std::vector<TIndexed> index;
  std::size_t indexed = 0;
};

// What in-memory namespaces are made of: the contents that several may share, the namespace, and
// the handles to what it holds. The namespace and its handles are used from one thread at a time,
// what is shared from several.

// Lists of instances by class, each made once.
class TInstanceLists {
 public:
  // `make` returns the list where there is none yet. Valid as long as this object.
  template <typename TMake>
  const std::vector<TRowId>& Of(TClassId classId, bool deep, const TMake& make) {
    const std::lock_guard lock(mutex);
    const std::pair key(classId, deep);
    const auto known = lists.find(key);
    return known != lists.end() ? known->second : lists.emplace(key, make()).first->second;
  }

 private:
  std::mutex mutex;
  std::map<std::pair<TClassId, bool>, std::vector<TRowId>> lists;
};

// The contents of a namespace, once they are shared, with the properties that were read of them.
class TSharedState {
 public:
  // Takes the state over: nobody changes it from here on.
  explicit TSharedState(boost::shared_ptr<TCimState> state);
  ~TSharedState();
  TSharedState(const TSharedState&) = delete;
  TSharedState& operator=(const TSharedState&) = delete;

  // To be read only.
  const boost::shared_ptr<TCimState>& State() const noexcept { return state; }
  // The property that was found in an instance's cell, made once. `self` is a handle to this
  // object, which the property keeps alive.
  boost::shared_ptr<NQRXHSK20::ICIMProperty> Property(
      TRowId row, const TPropertyFinder::TFound& found,
      const boost::shared_ptr<const TSharedState>& self) const;
  // As the state's, looked for once. Valid as long as this object.
  const std::vector<TRowId>& InstancesOf(TClassId classId, bool deep) const;

 private:
  boost::shared_ptr<TCimState> state;
  // The number of the first cell of each instance, as if they stood one behind the other.
  std::vector<std::uint64_t> firstCells;
  // Of each cell; null until it is asked for.
  mutable std::vector<std::atomic<TStoredProperty*>> properties;
  mutable TInstanceLists instances;
};

class THiddenInstances {
 public:
  THiddenInstances(TSharedStateHandle state, std::vector<bool> isHidden)
      : state(std::move(state)), isHidden(std::move(isHidden)) {}

  const TSharedStateHandle& State() const noexcept { return state; }
  // Those of the state that are not hidden. Valid as long as this object.
  const std::vector<TRowId>& ShownInstancesOf(TClassId classId, bool deep) const;

 private:
  TSharedStateHandle state;
  std::vector<bool> isHidden;
  mutable TInstanceLists shown;
};

// The numbers of names that were asked for last. Whoever asks nearly always asks with the same
// bytes, such as those of a constant: they are known by where they stand, and then compared.
class TRecentNames {
 public:
  // As the state's FindName.
  TNameId Find(const TCimState& state, std::string_view name) {
    const auto place = reinterpret_cast<std::uintptr_t>(name.data());
    TNameId& recent = numbers[(place ^ place >> 6 ^ name.size()) % numbers.size()];
    if (recent < state.Extent().names && state.NameText(recent) == name) return recent;
    return recent = state.FindName(name);
  }

 private:
  std::array<TNameId, 64> numbers{};
};

class TInMemoryNamespace;

// Lies in its namespace, which its handles keep alive; so does a TStoredInstance.
class TInMemoryClass final : public NQRXHSK20::ICIMClass {
 public:
  TInMemoryClass() = default;
  TInMemoryClass(TInMemoryNamespace* owner, TClassId id) : owner(owner), id(id) {}
  void CreateInstance(boost::shared_ptr<NQRXHSK20::ICIMInstance>& instance,
                      const NQRXHSK20::CIMContext& context) override;
  void EnumerateInstances(const NQRXHSK20::TInstanceCallback& callback, bool deep,
                          const NQRXHSK20::CIMContext& context) override;

 private:
  TInMemoryNamespace* owner;
  TClassId id;
};

class TStoredInstance final : public NQRXHSK20::ICIMInstance {
 public:
  TStoredInstance() = default;
  TStoredInstance(TInMemoryNamespace* owner, TRowId row) : owner(owner), row(row) {}
  TRowId Number() const noexcept { return row; }
  // None when there is no such property.
  std::optional<std::string> Text(std::string_view name) const;
  std::optional<std::string_view> View(std::string_view name) const;
  // None where it is not kept.
  std::optional<TPlace> Place() const;
  // Throws THSKException (kFailed): it is stored already.
  void Commit(const NQRXHSK20::CIMContext& context) override;
  void GetProperty(boost::shared_ptr<NQRXHSK20::ICIMProperty>& property, std::string_view name,
                   const NQRXHSK20::CIMContext& context) const override;
  void SetPropertyValue(std::string_view name, const NQRXHSK20::TCIMValue& value,
                        const NQRXHSK20::CIMContext& context) override;

 private:
  TInMemoryNamespace* owner;
  TRowId row;
};

// A created instance: outside the namespace until it is committed, one of the namespace's after,
// unless it goes to the sink that there was when it was created.
class TCreatedInstance final : public NQRXHSK20::ICIMInstance, public IWrittenInstance {
 public:
  TCreatedInstance(const boost::shared_ptr<TInMemoryNamespace>& owner, TClassId classId);
  // Throws THSKException (kFailed) when it is called again, or the sink is no more.
  void Commit(const NQRXHSK20::CIMContext& context) override;
  void GetProperty(boost::shared_ptr<NQRXHSK20::ICIMProperty>& property, std::string_view name,
                   const NQRXHSK20::CIMContext& context) const override;
  void SetPropertyValue(std::string_view name, const NQRXHSK20::TCIMValue& value,
                        const NQRXHSK20::CIMContext& context) override;
  NQRXHSK20::TSharedText Text(std::string_view name) const override;

 private:
  void CommitToSink();
  // Null when it is not written.
  const NQRXHSK20::TCIMValue* Find(std::string_view name) const;

  boost::shared_ptr<TInMemoryNamespace> owner;
  TClassId classId;
  bool isSunk;
  bool isGone = false;  // To the sink.
  // kNone until it is stored; from then on the properties are the namespace's.
  TRowId row = kNone;
  std::vector<std::pair<std::string, NQRXHSK20::TCIMValue>> properties;
  mutable std::size_t next = 0;  // Where the next one that is read is looked for first.
};

class TInMemoryNamespace final : public NQRXHSK20::ICIMNamespace,
                                 public boost::enable_shared_from_this<TInMemoryNamespace> {
 public:
  using TPropertyHandle = boost::shared_ptr<NQRXHSK20::ICIMProperty>;
  using TProperties = std::vector<std::pair<std::string, NQRXHSK20::TCIMValue>>;

  TInMemoryNamespace();
  void GetClass(boost::shared_ptr<NQRXHSK20::ICIMClass>& cimClass, std::string_view name,
                const NQRXHSK20::CIMContext& context) override;

  boost::shared_ptr<NQRXHSK20::ICIMClass> ClassHandle(TClassId id);
  // Hands out the instances that there are at the time of the call, without those that are hidden.
  void Enumerate(TClassId id, bool deep, const NQRXHSK20::TInstanceCallback& callback);
  // Throws THSKException (kNoSuchProperty).
  TPropertyHandle PropertyOf(TRowId row, std::string_view name);
  // None where PropertyOf throws.
  std::optional<std::string> TextOf(TRowId row, std::string_view name);
  std::optional<std::string_view> ViewOf(TRowId row, std::string_view name);
  // The property of an instance that does not write it. Throws the same.
  TPropertyHandle DeclaredProperty(TClassId id, std::string_view name);
  TPropertyHandle MakeProperty(TForm form, TCell cell);
  // Stores a new instance of these properties, each of another name.
  TRowId Store(TClassId id, const TProperties& properties);
  void SetProperty(TRowId row, std::string_view name, const NQRXHSK20::TCIMValue& value);

  void KeepPlaces() noexcept { keepsPlaces = true; }
  bool KeepsPlaces() const noexcept { return keepsPlaces; }
  // None where it is not kept.
  std::optional<TPlace> PlaceOf(TRowId row) const;

  void SetObserver(IReadObserver* newObserver) noexcept { observer = newObserver; }
  IReadObserver* Observer() const noexcept { return observer; }
  void Hide(THiddenInstancesHandle instances) { hidden.swap(instances); }
  void SetSink(std::string_view className, IInstanceSink* newSink) {
    sunkClass = className;
    sink = newSink;
  }
  // Where committed instances of the class go; null for the namespace itself.
  IInstanceSink* SinkOf(TClassId id) const noexcept;

  const TCimState& State() const noexcept { return *state; }
  // Copies first what is shared.
  TCimState& WritableState() {
    if (shared) Unshare();
    return *state;
  }
  // From here on it holds a copy of what the other one does.
  void HoldCopyOf(const TInMemoryNamespace& other);
  TSharedStateHandle Share();
  void Adopt(const TSharedStateHandle& other);
  // Null when it shares nothing.
  const TSharedStateHandle& SharedState() const noexcept { return shared; }
  bool TakesSharedStates() const noexcept { return shared || state->IsUntouched(); }

 private:
  // A property whose text is stored, but which is of no instance yet.
  struct TWrittenCell {
    TNameId name;
    TForm form;
    TCell cell;
  };
  using TInstanceBlock = std::array<TStoredInstance, 32>;

  std::vector<TRowId> ShownInstancesOf(TClassId id, bool deep) const;
  TStoredInstance& InstanceAt(TRowId row);
  bool Find(TRowId row, std::string_view name, TPropertyFinder::TFound& found);
  void Unshare();
  TWrittenCell Write(std::string_view name, const NQRXHSK20::TCIMValue& value);
  // From here on it holds this.
  void Hold(boost::shared_ptr<TCimState> newState);
  TCell StoreArray(const NQRXHSK20::TCIMValue& value);

  boost::shared_ptr<TCimState> state;
  // What `state` belongs to, unless it is this namespace's own.
  TSharedStateHandle shared;
  bool keepsPlaces = false;
  IReadObserver* observer = nullptr;  // Not owned.
  IInstanceSink* sink = nullptr;      // Not owned.
  std::string sunkClass;
  THiddenInstancesHandle hidden;
  // The property that was handed out last.
  boost::shared_ptr<TStoredProperty> lastProperty;
  TPropertyFinder finder;
  TRecentNames recentNames;
  TStableVector<TInMemoryClass> classes;
  // Blocks of them by number, made when one is asked for: of a large namespace few may be.
  std::vector<std::unique_ptr<TInstanceBlock>> instances;
  TArrayText arrayText;
};

// The namespace itself. Throws THSKException (kFailed) when `target` is empty or no in-memory one.
boost::shared_ptr<TInMemoryNamespace> InMemoryOf(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

}  // namespace svc
