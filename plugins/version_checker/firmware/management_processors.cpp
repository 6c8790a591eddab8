// Remote Watch Adapters, the Integrated System Control Processor, the H8 processor and baseboard
// management controllers.
#include "plugins/version_checker/firmware/firmware_run.h"
#include "plugins/version_checker/inventory/trace.h"

using rules::EComponent;

namespace {

constexpr std::string_view kSPROM = "QRXSG_SPROMFirmwareVPDMain";
constexpr std::string_view kIPMIFirmware = "QRXSG_IPMIFirmwareElement";

// Build ids of one processor family begin alike.
constexpr std::size_t kFamilyLength = 4;

constexpr std::string_view kH8Name = "QRX Integrated Systems Control Processor";

}  // namespace

// Both texts begin with the version that the adapter reports for itself; what is installed and
// what is offered stands in the parentheses.
void TFirmwareRun::CompareRemoteWatchAdapter(const TInstanceHandle& element, EComponent component) {
  const std::string offered = OfferedVersion(element);
  for (const TInstanceHandle& instance : InstalledInstances(kSPROM)) {
    const std::string build = TextOf(instance, "BuildNumber");
    const std::string name = TextOf(instance, "Name");
    if (build.empty()) continue;
    SetFound(component);
    const std::string version = Installed(kSPROM, "Version");
    Deliver(name, version + " (" + build + ") ", version + " (" + offered + ") ");
  }
}

void TFirmwareRun::CompareISCP(const TInstanceHandle& element) {
  const std::string build = Installed(kSPROM, "BuildNumber");
  const std::string offered = OfferedVersion(element);
  const std::string name = Installed(kSPROM, "Name");
  if (build.empty()) return;
  if (build.substr(0, kFamilyLength) != offered.substr(0, kFamilyLength)) return;
  SetFound(EComponent::kIscp);
  Deliver(name, build, offered);
}

void TFirmwareRun::CompareBMCOrH8(const TInstanceHandle& element) {
  const std::string offered = OfferedVersion(element);
  const auto holds = [&](const rules::TComponentTest& test) {
    const std::string_view property = rules::kTestedProperties[test.property];
    return TSVPluginCallbacks::PropertyContains(element, property, std::string(test.text.Text()));
  };
  const EComponent processor = rules::FirstThatHolds(rules::kProcessorTests, holds);
  if (processor == EComponent::kH8) CompareH8(offered);
  if (processor == EComponent::kBmc) CompareBMC(offered);
}

void TFirmwareRun::CompareH8(const std::string& offered) {
  const std::string build = Installed(kSPROM, "BuildNumber");
  const std::string name = Installed(kSPROM, "Name");
  if (build.empty() || name.find(kH8Name) == std::string::npos) return;
  SetFound(EComponent::kH8);
  Deliver(name, build, offered);
}

void TFirmwareRun::CompareBMC(const std::string& offered) {
  for (const TInstanceHandle& instance : InstalledInstances(kIPMIFirmware)) {
    const std::string version = TextOf(instance, "Version");
    const std::string name = TextOf(instance, "Name");
    if (version.empty()) continue;
    SetFound(EComponent::kBmc);
    Deliver(name, version, offered);
  }
}
