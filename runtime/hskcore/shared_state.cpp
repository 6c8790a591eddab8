#include "runtime/hskcore/shared_state.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "runtime/hskcore/in_memory_objects.h"

namespace svc {

using NQRXHSK20::ICIMNamespace;

TSharedState::TSharedState(boost::shared_ptr<TCimState> stateToShare)
    : state(std::move(stateToShare)) {
  firstCells.reserve(state->RowCount());
  std::uint64_t cells = 0;
  for (TRowId row = 0; row < state->RowCount(); ++row) {
    firstCells.push_back(cells);
    cells += state->Shapes()[state->Row(row).shape].depth;
  }
  properties = std::vector<std::atomic<TStoredProperty*>>(cells);
}

TSharedState::~TSharedState() {
  for (const auto& property : properties) delete property.load(std::memory_order_relaxed);
}

boost::shared_ptr<NQRXHSK20::ICIMProperty> TSharedState::Property(
    TRowId row, const TPropertyFinder::TFound& found,
    const boost::shared_ptr<const TSharedState>& self) const {
  std::atomic<TStoredProperty*>& slot = properties[firstCells[row] + found.place];
  TStoredProperty* property = slot.load(std::memory_order_acquire);
  if (property == nullptr) {
    auto made = std::make_unique<TStoredProperty>(nullptr, ValueOfCell(found.form, found.cell));
    // Another thread may have been faster: its property is taken then.
    if (slot.compare_exchange_strong(property, made.get(), std::memory_order_acq_rel)) {
      property = made.release();
    }
  }
  return {self, property};
}

const std::vector<TRowId>& TSharedState::InstancesOf(TClassId classId, bool deep) const {
  return instances.Of(classId, deep, [&] { return state->InstancesOf(classId, deep); });
}

const std::vector<TRowId>& THiddenInstances::ShownInstancesOf(TClassId classId, bool deep) const {
  return shown.Of(classId, deep, [&] {
    const std::vector<TRowId>& all = state->InstancesOf(classId, deep);
    std::vector<TRowId> rows;
    std::copy_if(all.begin(), all.end(), std::back_inserter(rows),
                 [&](TRowId row) { return row >= isHidden.size() || !isHidden[row]; });
    return rows;
  });
}

THiddenInstancesHandle MakeHiddenInstances(const TSharedStateHandle& state,
                                           std::vector<bool> isHidden) {
  return boost::make_shared<const THiddenInstances>(state, std::move(isHidden));
}

void HideInstances(const boost::shared_ptr<ICIMNamespace>& target,
                   const THiddenInstancesHandle& hidden) {
  InMemoryOf(target)->Hide(hidden);
}

TSharedStateHandle ShareState(const boost::shared_ptr<ICIMNamespace>& source) {
  return InMemoryOf(source)->Share();
}

void AdoptState(const boost::shared_ptr<ICIMNamespace>& target, const TSharedStateHandle& state) {
  InMemoryOf(target)->Adopt(state);
}

bool TakesSharedStates(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemoryOf(target)->TakesSharedStates();
}

std::size_t WeightOf(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemoryOf(target)->State().Weight();
}

TSharedStateHandle SharedStateOf(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemoryOf(target)->SharedState();
}

}  // namespace svc
