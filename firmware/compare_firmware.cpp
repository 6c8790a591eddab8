// The walk, its dispatch chain and the report at its end.
#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "firmware/firmware_run.h"
#include "firmware/version_items.h"
#include "host/hskcore/root_object.h"
#include "inventory/class_lookup.h"
#include "inventory/folded_text.h"
#include "inventory/trace.h"

using namespace NQRXHSK20;

namespace {

using TBranch = void (TFirmwareRun::*)(const TInstanceHandle&);

// The properties that are tested.
enum EText : std::size_t { kDescription, kCategory, kInstallDirectory, kTexts };
constexpr std::array<std::string_view, kTexts> kProperties = {"description", "category",
                                                              "installDirectory"};

// A text that is searched without regard to ASCII case: folded when it is compiled.
class TNeedle {
 public:
  template <std::size_t N>
  consteval TNeedle(const char (&text)[N]) : size(N - 1) {
    for (std::size_t i = 0; i < size; ++i) folded[i] = Folded(text[i]);
  }
  constexpr std::string_view Text() const { return {folded.data(), size}; }

 private:
  std::array<char, 80> folded{};
  std::size_t size;
};

struct TTest {
  EText property;
  TNeedle needle;
};

struct TDispatchRow {
  TTest test;
  TBranch branch;
};

// An element may update the system BIOS and one component of the chain as well.
constexpr std::array<TTest, 4> kBIOSTests = {{
    {kDescription, "BIOS Update"},
    {kCategory, "BIOS"},
    {kDescription, "BIOS Flash"},
    {kDescription, "Flash BIOS"},
}};

// The first row that holds decides. Narrow texts stand before the wider ones that contain them
// ("Remote Watch Adapter II"); a row that an earlier one always forestalls stays, so that the list
// names every text that catalogues use.
constexpr std::array<TDispatchRow, 20> kDispatchChain = {{
    {{kDescription, "uEFI"}, &TFirmwareRun::CompareUEFI},
    {{kCategory, "UEFI"}, &TFirmwareRun::CompareUEFI},
    {{kInstallDirectory, "/PKGS/DIAG"}, &TFirmwareRun::CompareDiagnostics},
    {{kDescription, "Diagnostic"}, &TFirmwareRun::CompareDiagnostics},
    {{kDescription, "Preboot Diagnostics"}, &TFirmwareRun::CompareDiagnostics},
    {{kDescription, "Preboot HSK"}, &TFirmwareRun::CompareDiagnostics},
    {{kDescription, "HSK Preboot"}, &TFirmwareRun::CompareDiagnostics},
    {{kInstallDirectory, "/PKGS/RWA2"}, &TFirmwareRun::CompareRWA2},
    {{kDescription, "Remote Watch Adapter II"}, &TFirmwareRun::CompareRWA2},
    {{kInstallDirectory, "/PKGS/REMOTWAT"}, &TFirmwareRun::CompareRWA},
    {{kDescription, "Remote Watch Adapter"}, &TFirmwareRun::CompareRWA},
    {{kDescription, "Integrated System Control Processor"}, &TFirmwareRun::CompareISCP},
    {{kCategory, "BMC/H8"}, &TFirmwareRun::CompareBMCOrH8},
    {{kDescription, "Broadcom NetXtreme and NetXtreme II Firmware"},
     &TFirmwareRun::CompareBroadcom},
    {{kDescription, "QRX Arrayon AX20i SAS Controller Firmware"}, &TFirmwareRun::CompareMegaRAID},
    {{kDescription, "QRX Arrayon AX20is SAS Controller Firmware"}, &TFirmwareRun::CompareMegaRAID},
    {{kDescription, "QRX Arrayon AX20M SAS Controller Firmware"}, &TFirmwareRun::CompareMegaRAID},
    {{kDescription, "LSI 1064"}, &TFirmwareRun::CompareIntegratedRAID},
    {{kDescription, "LSI 1078 SAS"}, &TFirmwareRun::CompareIntegratedRAID},
    {{kDescription, "BIOS and Firmware Update for the SAS Expansion Card (HBXe) for QRX Rackwell"},
     &TFirmwareRun::CompareIntegratedRAID},
}};
static_assert(!kDispatchChain.back().test.needle.Text().empty(), "every row is filled");

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

// One element under test. Each test owes the trace the lines of reading its property: where the
// trace is kept it reads, where it is not, only the first test of a property does.
class TTested {
 public:
  explicit TTested(const TInstanceHandle& element)
      : element(element), isTraced(TRootObject::GetCoreLogger().IsLogged(kLogTrace)) {}

  bool Holds(const TTest& test) {
    const std::string_view property = kProperties[test.property];
    const std::string_view needle = test.needle.Text();
    if (isTraced) {
      return TSVPluginCallbacks::PropertyContains(element, property, std::string(needle));
    }
    std::optional<std::string>& text = texts[test.property];
    if (!text) FoldCase(text.emplace(TextOf(element, property)));
    return text->find(needle) != std::string::npos;
  }

 private:
  const TInstanceHandle& element;
  const bool isTraced;
  std::array<std::optional<std::string>, kTexts> texts;
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
  const auto holds = [&](const TTest& test) { return tested.Holds(test); };
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
