#include "svcheck/fleet/passed_over.h"

#include <algorithm>

namespace svc::fleet {

namespace {

constexpr std::string_view kMachineTypes = "applicableMachineTypes";
// There are fewer; whoever makes them up shall not fill the memory.
constexpr std::size_t kMostTypes = 1024;

}  // namespace

void TElementReads::OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) {
  const TRowId number = NumberOf(instance);
  if (number >= reads.size()) reads.resize(number + 1, ERead::kNothing);
  ERead& read = reads[number];
  read = std::max(read, name == kMachineTypes ? ERead::kMachineTypes : ERead::kMore);
}

std::vector<bool> TElementReads::PassedOver() const {
  std::vector<bool> passedOver(reads.size());
  std::transform(reads.begin(), reads.end(), passedOver.begin(),
                 [](ERead read) { return read == ERead::kMachineTypes; });
  const auto first = std::find(passedOver.begin(), passedOver.end(), true);
  if (first != passedOver.end()) *first = false;
  return passedOver;
}

boost::shared_ptr<const THiddenInstances> TPassedOver::Of(const std::string& machineType) const {
  const auto found = types.find(machineType);
  return found == types.end() ? nullptr : found->second;
}

void TPassedOver::Learn(const std::string& machineType, const TElementReads& reads,
                        const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue) {
  const TSharedStateHandle state = catalogue ? SharedStateOf(catalogue) : nullptr;
  if (!state) return;
  if (types.size() >= kMostTypes) types.clear();
  types[machineType].reset(new THiddenInstances{state, reads.PassedOver()});
}

}  // namespace svc::fleet
