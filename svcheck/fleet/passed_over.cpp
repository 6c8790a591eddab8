#include "svcheck/fleet/passed_over.h"

#include <algorithm>
#include <array>

#include "rules/names.h"
#include "svcheck/session/instances.h"

using namespace NQRXHSK20;

namespace svc::fleet {

namespace {

// There are fewer; whoever makes them up shall not fill the memory.
constexpr std::size_t kMostKinds = 1024;

constexpr std::array kChosenBy = {rules::kUpdateSystems, rules::kUpdateDescription,
                                  rules::kUpdateCategory, rules::kUpdateDirectory};

struct TChooser {
  std::string_view className;
  std::string_view property;
};
constexpr std::array kChoosers = {TChooser{"QRXSG_ComputerSystem", "MachineType"},
                                  TChooser{rules::kSystemClass, rules::kSystemVersion},
                                  TChooser{rules::kSystemClass, rules::kSystemType},
                                  TChooser{rules::kSystemClass, rules::kSystemBuild},
                                  TChooser{rules::kSystemClass, rules::kSystemPlatform}};

// False for an array, whose text may be another one's too.
bool AppendText(std::string& kind, const ICIMInstance& instance, std::string_view property) {
  boost::shared_ptr<ICIMProperty> handle;
  try {
    instance.GetProperty(handle, property, {});
  } catch (const THSKException&) {
    return true;  // A property that is missing reads like an empty one.
  }
  const TCIMValue& value = handle->Value({});
  kind += value.ToString(10);
  return !value.IsArray();
}

}  // namespace

std::optional<std::string> KindOf(const boost::shared_ptr<ICIMNamespace>& inventory) {
  std::string kind;
  for (const TChooser& chooser : kChoosers) {
    for (const auto& instance : InstancesOf(inventory, chooser.className)) {
      if (!AppendText(kind, *instance, chooser.property)) return {};
      kind += '\0';  // No document has one.
    }
    kind += '\0';
  }
  return kind;
}

TElementReads::ERead TElementReads::ReadOf(std::string_view property) {
  if (property == rules::kUpdateMachineTypes) return ERead::kMachineTypes;
  const bool isChoice = std::find(kChosenBy.begin(), kChosenBy.end(), property) != kChosenBy.end();
  return isChoice ? ERead::kChoice : ERead::kOffer;
}

void TElementReads::OnGetProperty(const ICIMInstance& instance, std::string_view name) {
  const TRowId number = NumberOf(instance);
  if (number >= reads.size()) reads.resize(number + 1, ERead::kNothing);
  reads[number] = std::max(reads[number], ReadOf(name));
}

std::vector<bool> TElementReads::PassedOver() const {
  std::vector<bool> passedOver(reads.size());
  const auto isPassedOver = [](ERead read) {
    return read == ERead::kMachineTypes || read == ERead::kChoice;
  };
  std::transform(reads.begin(), reads.end(), passedOver.begin(), isPassedOver);
  for (const ERead read : {ERead::kMachineTypes, ERead::kChoice}) {
    const auto first = std::find(reads.begin(), reads.end(), read);
    if (first != reads.end()) passedOver[static_cast<std::size_t>(first - reads.begin())] = false;
  }
  return passedOver;
}

THiddenInstancesHandle TPassedOver::Of(const std::string& kind) const {
  const auto found = kinds.find(kind);
  return found == kinds.end() ? nullptr : found->second;
}

void TPassedOver::Learn(const std::string& kind, const TElementReads& reads,
                        const boost::shared_ptr<ICIMNamespace>& catalogue) {
  const TSharedStateHandle state = catalogue ? SharedStateOf(catalogue) : nullptr;
  if (!state) return;
  if (kinds.size() >= kMostKinds) kinds.clear();
  kinds[kind] = MakeHiddenInstances(state, reads.PassedOver());
}

}  // namespace svc::fleet
