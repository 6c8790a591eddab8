// The walk, its dispatch chain and the report at its end.
#include <algorithm>
#include <array>
#include <utility>

#include "firmware/firmware_run.h"
#include "firmware/version_items.h"
#include "inventory/class_lookup.h"
#include "inventory/trace.h"

using namespace NQRXHSK20;

namespace {

using TBranch = void (TFirmwareRun::*)(const TInstanceHandle&);

struct TTest {
  std::string_view property;
  std::string_view needle;  // Searched without regard to ASCII case.
};

struct TDispatchRow {
  TTest test;
  TBranch branch;
};

// An element may update the system BIOS and one component of the chain as well.
constexpr std::array<TTest, 4> kBIOSTests = {{
    {"description", "BIOS Update"},
    {"category", "BIOS"},
    {"description", "BIOS Flash"},
    {"description", "Flash BIOS"},
}};

// The first row that holds decides. Narrow texts stand before the wider ones that contain them
// ("Remote Watch Adapter II"); a row that an earlier one always forestalls stays, so that the list
// names every text that catalogues use.
constexpr std::array<TDispatchRow, 20> kDispatchChain = {{
    {{"description", "uEFI"}, &TFirmwareRun::CompareUEFI},
    {{"category", "UEFI"}, &TFirmwareRun::CompareUEFI},
    {{"installDirectory", "/PKGS/DIAG"}, &TFirmwareRun::CompareDiagnostics},
    {{"description", "Diagnostic"}, &TFirmwareRun::CompareDiagnostics},
    {{"description", "Preboot Diagnostics"}, &TFirmwareRun::CompareDiagnostics},
    {{"description", "Preboot HSK"}, &TFirmwareRun::CompareDiagnostics},
    {{"description", "HSK Preboot"}, &TFirmwareRun::CompareDiagnostics},
    {{"installDirectory", "/PKGS/RWA2"}, &TFirmwareRun::CompareRWA2},
    {{"description", "Remote Watch Adapter II"}, &TFirmwareRun::CompareRWA2},
    {{"installDirectory", "/PKGS/REMOTWAT"}, &TFirmwareRun::CompareRWA},
    {{"description", "Remote Watch Adapter"}, &TFirmwareRun::CompareRWA},
    {{"description", "Integrated System Control Processor"}, &TFirmwareRun::CompareISCP},
    {{"category", "BMC/H8"}, &TFirmwareRun::CompareBMCOrH8},
    {{"description", "Broadcom NetXtreme and NetXtreme II Firmware"},
     &TFirmwareRun::CompareBroadcom},
    {{"description", "QRX Arrayon AX20i SAS Controller Firmware"}, &TFirmwareRun::CompareMegaRAID},
    {{"description", "QRX Arrayon AX20is SAS Controller Firmware"}, &TFirmwareRun::CompareMegaRAID},
    {{"description", "QRX Arrayon AX20M SAS Controller Firmware"}, &TFirmwareRun::CompareMegaRAID},
    {{"description", "LSI 1064"}, &TFirmwareRun::CompareIntegratedRAID},
    {{"description", "LSI 1078 SAS"}, &TFirmwareRun::CompareIntegratedRAID},
    {{"description", "BIOS and Firmware Update for the SAS Expansion Card (HBXe) for QRX Rackwell"},
     &TFirmwareRun::CompareIntegratedRAID},
}};
static_assert(!kDispatchChain.back().test.needle.empty(), "every row is filled");

// By component, in the order of EComponent.
constexpr std::array<std::string_view, static_cast<std::size_t>(EComponent::kCount)>
    kMissingMessages = {{
        "No firmware update found for System BIOS.",
        "No firmware update found for Diagnostics.",
        "No firmware update found for RWA II.",
        "No firmware update found for RWA.",
        "No firmware update found for ISCP.",
        "No firmware update found for H8.",
        "No firmware update found for BMC.",
        "No firmware update found for Broadcom NetXtreme or NetXtreme II.",
    }};
static_assert(!kMissingMessages.back().empty(), "every component has its message");

bool Holds(const TTest& test, const TInstanceHandle& element) {
  return TSVPluginCallbacks::PropertyContains(element, test.property, std::string(test.needle));
}

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
  const auto holds = [&](const TTest& test) { return Holds(test, element); };
  if (std::any_of(kBIOSTests.begin(), kBIOSTests.end(), holds)) CompareBIOS(element);
  const auto row =
      std::find_if(kDispatchChain.begin(), kDispatchChain.end(),
                   [&](const TDispatchRow& candidate) { return holds(candidate.test); });
  if (row != kDispatchChain.end()) (this->*row->branch)(element);
}

void TFirmwareRun::ReportMissing() const {
  for (std::size_t component = 0; component < found.size(); ++component) {
    if (!found[component]) LogProgress(kMissingMessages[component]);
  }
  // LSI controllers have no mark of their own to tell whether one was found.
  LogProgress("No firmware update found for LSI firmware.");
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
  return extractBracketedVersion(TextOf(element, property));
}
