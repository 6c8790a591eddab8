// What a machine has one of each: system BIOS, system UEFI, the diagnostics partition; and its
// processors that manage it: Remote Watch Adapters, the Integrated System Control Processor, the H8
// processor, baseboard management controllers.
#include "plugins/version_checker/firmware/firmware_run.h"
#include "plugins/version_checker/inventory/properties.h"
#include "plugins/version_checker/inventory/reporting.h"
#include "rules/log_texts.h"

using namespace NQRXHSK20;

namespace svc::checker {

using rules::EComponent;

namespace {

constexpr std::string_view kSPROM = "QRXSG_SPROMFirmwareVPDMain";
constexpr std::string_view kIPMIFirmware = "QRXSG_IPMIFirmwareElement";

// Build ids of one processor family begin alike.
constexpr std::size_t kFamilyLength = 4;

constexpr std::string_view kH8Name = "QRX Integrated Systems Control Processor";

}  // namespace

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
  // Deliberate: see "A skipped package counts as found" in docs/one-query.md.
  SetFound(EComponent::kDiagnostics);
  std::string offered = OfferedVersion(element);
  std::string installed = Installed("QRXSG_DiagnosticVPD", "BuildNumber");
  // Deliberate: see "Diagnostics are traced as errors" in docs/one-query.md.
  LogError("Starting Diagnostics comparison");
  LogError(offered);
  if (rules::IsFirstDiagnostics(offered)) {
    if (rules::SkipsFirstDiagnostics(machineType)) {
      LogError(rules::kDiagnosticsSkipped);
      return;
    }
    offered += " - " + OfferedVersion(element, rules::kUpdateBuild);
  }
  // Deliberate: see "Build and version stand in opposite orders" in docs/one-query.md.
  installed += " - " + Installed("QRXSG_DiagnosticVPD", "Version");
  Deliver(std::string(rules::RowOf(EComponent::kDiagnostics).name), installed, offered);
}

// The branches of the processors read all their values before they look at one.
// Deliberate: see "Read before it is needed" in docs/one-query.md.
void TFirmwareRun::CompareRemoteWatchAdapter(const TInstanceHandle& element, EComponent component) {
  const std::string offered = OfferedVersion(element);
  for (const TInstanceHandle& instance : InstalledInstances(kSPROM)) {
    const std::string build = TextOf(instance, "BuildNumber");
    const std::string name = TextOf(instance, "Name");
    if (build.empty()) continue;
    SetFound(component);
    // Deliberate: see "Both texts begin with the installed version" in docs/one-query.md.
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
    return TInventoryOperations::PropertyContains(element, property, std::string(test.text.Text()));
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

std::string TFirmwareOperations::getStringPropertyFromContainer(TNamespaceHandle inventory,
                                                                std::string_view className,
                                                                std::string_view property) {
  LogTrace("In getStringPropertyFromContainer");
  const CIMContext& context = PluginContext();
  boost::shared_ptr<ICIMClass> cimClass;
  if (!FindClass(cimClass, inventory, className, context)) return "";
  TInstanceList instances;
  AppendInstances(instances, cimClass, context);
  std::string value;
  // Deliberate: see "The last instance wins" in docs/one-query.md.
  for (const TInstanceHandle& instance : instances) {
    TInventoryOperations::GetPropertyValue(instance, property, value);
  }
  return value;
}

int TFirmwareOperations::getVersionItemFromContainer(TNamespaceHandle inventory,
                                                     std::string_view className,
                                                     TInstanceList& instances) {
  LogTrace("In getVersionItemFromContainer");
  instances.clear();
  const CIMContext& context = PluginContext();
  boost::shared_ptr<ICIMClass> cimClass;
  if (!FindClass(cimClass, inventory, className, context)) return 0;
  try {
    LogTrace("after getting class name in container");
    AppendInstances(instances, cimClass, context);
    LogTrace("after getting instances in container");
  } catch (...) {
    // Deliberate: see "Everything is caught in one place" in docs/one-query.md.
    LogTrace("catch exception");
  }
  return 0;
}

}  // namespace svc::checker
