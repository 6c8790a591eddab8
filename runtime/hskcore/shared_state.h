// What several in-memory namespaces hold in common, as the machines of a fleet do a catalogue: it
// is loaded once, and each namespace copies it before it is written to. The handles may be used
// from any thread, a namespace from one at a time.
#ifndef RUNTIME_HSKCORE_SHARED_STATE_H_
#define RUNTIME_HSKCORE_SHARED_STATE_H_

#include <boost/shared_ptr.hpp>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace svc {

// What a namespace holds, to be shared with others.
class TSharedState;
using TSharedStateHandle = boost::shared_ptr<const TSharedState>;

// All functions on namespaces throw THSKException (kFailed) when the namespace is empty or no
// in-memory one.
//
// From here on `source` shares what it holds with whoever adopts it.
HSKCORE_API TSharedStateHandle
ShareState(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source);
// From here on `target` holds what `state` does, instead of what it held. No class or instance of
// it may have been handed out.
HSKCORE_API void AdoptState(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                            const TSharedStateHandle& state);
// What `target` shares; null when it was written to since, or never shared anything.
HSKCORE_API TSharedStateHandle
SharedStateOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);
// Whether it holds nothing but what it shares.
HSKCORE_API bool TakesSharedStates(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

// How much a copy of it takes, in its instances, classes and names, an instance counted for more.
HSKCORE_API std::size_t WeightOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

// Instances of one shared state that readers can do without.
class THiddenInstances;
using THiddenInstancesHandle = boost::shared_ptr<const THiddenInstances>;

// `isHidden` tells by the instance's number; instances behind its last are not. REQUIRES: a state.
HSKCORE_API THiddenInstancesHandle MakeHiddenInstances(const TSharedStateHandle& state,
                                                       std::vector<bool> isHidden);
// From here on enumerations of `target` leave these out, whenever it holds that state and nothing
// else; empty for none.
HSKCORE_API void HideInstances(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                               const THiddenInstancesHandle& hidden);

}  // namespace svc

#endif  // RUNTIME_HSKCORE_SHARED_STATE_H_
