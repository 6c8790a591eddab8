// The walk, its choice of branches and the report at its end.
#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "firmware/firmware_run.h"
#include "host/hskcore/root_object.h"
#include "inventory/class_lookup.h"
#include "inventory/trace.h"
#include "rules/folded_text.h"
#include "rules/log_texts.h"
#include "rules/version_items.h"

using namespace NQRXHSK20;

namespace {

// The components that the report at the end of a run knows, in its order. UEFI counts as a BIOS.
struct TMissing {
  rules::EComponent component;
  std::string_view message;
};
constexpr std::array kMissing = {
    TMissing{rules::EComponent::kBios, "No firmware update found for System BIOS."},
    TMissing{rules::EComponent::kDiagnostics, "No firmware update found for Diagnostics."},
    TMissing{rules::EComponent::kRwa2, "No firmware update found for RWA II."},
    TMissing{rules::EComponent::kRwa, "No firmware update found for RWA."},
    TMissing{rules::EComponent::kIscp, "No firmware update found for ISCP."},
    TMissing{rules::EComponent::kH8, "No firmware update found for H8."},
    TMissing{rules::EComponent::kBmc, "No firmware update found for BMC."},
    TMissing{rules::EComponent::kBroadcom,
             "No firmware update found for Broadcom NetXtreme or NetXtreme II."}};
static_assert(kMissing.size() == 8);

// One element under test. Each test owes the trace the lines of reading its property: where the
// trace is kept it reads, where it is not, only the first test of a property does.
class TTested {
 public:
  explicit TTested(const TInstanceHandle& element)
      : element(element), isTraced(TRootObject::GetCoreLogger().IsLogged(kLogTrace)) {}

  bool Holds(const rules::TComponentTest& test) {
    const std::string_view property = rules::kTestedProperties[test.property];
    const std::string_view needle = test.text.Text();
    if (isTraced) {
      return TSVPluginCallbacks::PropertyContains(element, property, std::string(needle));
    }
    std::optional<std::string>& text = texts[test.property];
    if (!text) rules::FoldCase(text.emplace(TextOf(element, property)));
    return text->find(needle) != std::string::npos;
  }

 private:
  const TInstanceHandle& element;
  const bool isTraced;
  std::array<std::optional<std::string>, rules::kTestedProperties.size()> texts;
};

}  // namespace

TFirmwareRun::TFirmwareRun(TNamespaceHandle inventory, std::string machineType)
    : inventory(std::move(inventory)), machineType(std::move(machineType)) {}

void TSVPluginCallbacks::CompareFirmware(TNamespaceHandle inventory, TInstanceList updateElements,
                                         std::string machineType) {
  TFirmwareRun run(std::move(inventory), std::move(machineType));
  for (const TInstanceHandle& element : updateElements) run.Compare(element);
  run.ReportMissing();
}

void TFirmwareRun::Compare(const TInstanceHandle& element) {
  TTested tested(element);
  const auto holds = [&](const rules::TComponentTest& test) { return tested.Holds(test); };
  CompareComponent(element, rules::FirstThatHolds(rules::kBiosTests, holds));
  CompareComponent(element, rules::FirstThatHolds(rules::kChainTests, holds));
}

void TFirmwareRun::CompareComponent(const TInstanceHandle& element, rules::EComponent component) {
  switch (component) {
    case rules::EComponent::kBios:
      return CompareBIOS(element);
    case rules::EComponent::kUefi:
      return CompareUEFI(element);
    case rules::EComponent::kDiagnostics:
      return CompareDiagnostics(element);
    case rules::EComponent::kRwa2:
    case rules::EComponent::kRwa:
      return CompareRemoteWatchAdapter(element, component);
    case rules::EComponent::kIscp:
      return CompareISCP(element);
    case rules::EComponent::kH8:  // The chain leaves it to the branch which of the two it is.
    case rules::EComponent::kBmc:
    case rules::EComponent::kUnnamedProcessor:
      return CompareBMCOrH8(element);
    case rules::EComponent::kBroadcom:
      return CompareBroadcom(element);
    case rules::EComponent::kMegaRaid:
      return CompareMegaRAID(element);
    case rules::EComponent::kLsi:
      return CompareIntegratedRAID(element);
    case rules::EComponent::kNone:
    case rules::EComponent::kCount:
      return;
  }
}

void TFirmwareRun::ReportMissing() const {
  for (const TMissing& row : kMissing) {
    if (!found[static_cast<std::size_t>(row.component)]) LogProgress(row.message);
  }
  LogProgress(rules::kFirmwareCompared);
}

std::string TFirmwareRun::Installed(std::string_view className, std::string_view property) const {
  return TSVPluginCallbacks::getStringPropertyFromContainer(inventory, className, property);
}

const TInstanceList& TFirmwareRun::InstalledInstances(std::string_view className) {
  TSVPluginCallbacks::getVersionItemFromContainer(inventory, className, instances);
  return instances;
}

void TFirmwareRun::Deliver(std::string name, std::string installed, std::string offered) const {
  TSVPluginCallbacks::DeliverInstance(inventory, "Firmware", std::move(name), std::move(installed),
                                      std::move(offered));
}

std::string TextOf(const TInstanceHandle& instance, std::string_view property) {
  std::string text;
  TSVPluginCallbacks::GetPropertyValue(instance, property, text);
  return text;
}

std::string OfferedVersion(const TInstanceHandle& element, std::string_view property) {
  return rules::extractBracketedVersion(TextOf(element, property));
}
