// System BIOS, system UEFI and the diagnostics partition.
#include "plugins/version_checker/firmware/firmware_run.h"
#include "plugins/version_checker/inventory/trace.h"
#include "rules/log_texts.h"

using rules::EComponent;

void TFirmwareRun::CompareBIOS(const TInstanceHandle& element) {
  CompareSystemFirmware(element, "SV got bios from metadata", EComponent::kBios);
}

void TFirmwareRun::CompareUEFI(const TInstanceHandle& element) {
  CompareSystemFirmware(element, "SV got uEFI from metadata", EComponent::kUefi);
}

// A machine has one or the other, so both are read from one class and share one found flag.
void TFirmwareRun::CompareSystemFirmware(const TInstanceHandle& element, std::string_view message,
                                         EComponent component) {
  LogProgress(message);
  SetFound(EComponent::kBios);
  const std::string offered = OfferedVersion(element);
  Deliver(std::string(rules::RowOf(component).name),
          Installed("QRXSG_SystemBIOSElement", "Version"), offered);
}

void TFirmwareRun::CompareDiagnostics(const TInstanceHandle& element) {
  SetFound(EComponent::kDiagnostics);  // Also when the element is skipped below.
  std::string offered = OfferedVersion(element);
  std::string installed = Installed("QRXSG_DiagnosticVPD", "BuildNumber");
  LogError("Starting Diagnostics comparison");
  LogError(offered);
  if (rules::IsFirstDiagnostics(offered)) {
    if (rules::SkipsFirstDiagnostics(machineType)) {
      LogError(rules::kDiagnosticsSkipped);
      return;
    }
    offered += " - " + OfferedVersion(element, rules::kUpdateBuild);
  }
  // Build before version here, version before build on the offered side.
  installed += " - " + Installed("QRXSG_DiagnosticVPD", "Version");
  Deliver(std::string(rules::RowOf(EComponent::kDiagnostics).name), installed, offered);
}
