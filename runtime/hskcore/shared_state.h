// What several in-memory namespaces hold in common: the contents of one, once it is shared, with
// the properties that were read of it, and what of it is hidden. Each namespace copies it before it
// is written to. May be used from several threads.
#ifndef RUNTIME_HSKCORE_SHARED_STATE_H_
#define RUNTIME_HSKCORE_SHARED_STATE_H_

#include <atomic>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/property_finder.h"
#include "runtime/hskcore/stored_property.h"

namespace svc {

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

}  // namespace svc

#endif  // RUNTIME_HSKCORE_SHARED_STATE_H_
