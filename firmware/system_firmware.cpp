// System BIOS, system UEFI and the diagnostics partition.
#include <algorithm>
#include <array>

#include "firmware/firmware_run.h"
#include "inventory/trace.h"

namespace {

// Machine types on which this release of the diagnostics is not compared.
constexpr std::string_view kSkippedDiagnostics = "fdcp-1.10";
constexpr std::array<std::string_view, 3> kMachinesThatSkipDiagnostics = {"4620", "4631", "2705"};

bool SkipsDiagnostics(const std::string& machineType) {
  return std::find(kMachinesThatSkipDiagnostics.begin(), kMachinesThatSkipDiagnostics.end(),
                   machineType) != kMachinesThatSkipDiagnostics.end();
}

}  // namespace

void TFirmwareRun::CompareBIOS(const TInstanceHandle& element) {
  CompareSystemFirmware(element, "SV got bios from metadata", "System BIOS");
}

void TFirmwareRun::CompareUEFI(const TInstanceHandle& element) {
  CompareSystemFirmware(element, "SV got uEFI from metadata", "System UEFI");
}

// A machine has one or the other, so both are read from one class and share one found flag.
void TFirmwareRun::CompareSystemFirmware(const TInstanceHandle& element, std::string_view message,
                                         const char* name) {
  LogProgress(message);
  SetFound(EComponent::kSystemBIOS);
  const std::string offered = OfferedVersion(element);
  Deliver(name, Installed("QRXSG_SystemBIOSElement", "Version"), offered);
}

void TFirmwareRun::CompareDiagnostics(const TInstanceHandle& element) {
  SetFound(EComponent::kDiagnostics);  // Also when the element is skipped below.
  std::string offered = OfferedVersion(element);
  std::string installed = Installed("QRXSG_DiagnosticVPD", "BuildNumber");
  LogError("Starting Diagnostics comparison");
  LogError(offered);
  if (offered.find(kSkippedDiagnostics) != std::string::npos) {
    if (SkipsDiagnostics(machineType)) {
      LogError("Skipping the comparison for p1.10.");
      return;
    }
    offered += " - " + OfferedVersion(element, "BuildNumber");
  }
  // Build before version here, version before build on the offered side.
  installed += " - " + Installed("QRXSG_DiagnosticVPD", "Version");
  Deliver("Diagnostics", installed, offered);
}
