// The components of a machine, one by one. What it has one of each: system BIOS, system UEFI, the
// diagnostics partition; its processors that manage it: Remote Watch Adapters, the Integrated
// System Control Processor, the H8 processor, baseboard management controllers; and network and
// storage adapters, whose offered versions stand in an element's list of driver files.
#include "plugins/version_checker/firmware/firmware_operations.h"
#include "plugins/version_checker/inventory/inventory_operations.h"
#include "plugins/version_checker/inventory/properties.h"
#include "rules/log_texts.h"
#include "rules/version_items.h"

using namespace NQRXHSK20;
namespace svc::checker {

using rules::EComponent;

constexpr std::string_view kSPROM = "QRXSG_SPROMFirmwareVPDMain";
constexpr std::string_view kIPMIFirmware = "QRXSG_IPMIFirmwareElement";

// Build ids of one processor family begin alike.
constexpr std::size_t kFamilyLength = 4;

constexpr std::string_view kH8Name = "QRX Integrated Systems Control Processor";

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

// Network and storage adapters, whose offered versions stand in an element's list of driver files.

constexpr std::string_view kBroadcomFirmware = "QRXSG_BcmDeviceFirmwareElement";
constexpr std::string_view kMegaRAIDFirmware = "QRXSG_MegaLSIFWPackageBuildFirmwareElement";
constexpr std::string_view kLSIFirmware = "QRXSG_LSIFirmwareElement";
constexpr std::string_view kLSIBIOS = "QRXSG_LSIBIOSElement";

constexpr std::string_view kInstalledFamily = "qrx arrayon-ax";

static std::string DriverFiles(const TInstanceHandle& element) {
  return TextOf(element, rules::kUpdateDriverFiles);
}

static void LogEach(void (*log)(std::string_view),
                    std::initializer_list<std::string_view> messages) {
  for (const std::string_view message : messages) log(message);
}

// The controller of "QRX Arrayon-AX20i SAS", lowered: 20i.
static std::string InstalledController(std::string description) {
  description = rules::toLowerCopy(std::move(description));
  const std::size_t family = description.find(kInstalledFamily);
  if (family == std::string::npos) return "";
  return rules::FirstWordBeforeBlank(
      std::string_view(description).substr(family + kInstalledFamily.size()));
}

// The controller of "QRX Arrayon AX 20i ...-#1.2", lowered: 20i.
// Deliberate: see "A missing family wraps, and one character more goes" in docs/one-query.md.
static std::string OfferedController(std::string driverFiles) {
  driverFiles = rules::toLowerCopy(std::move(driverFiles));
  if (driverFiles.find("-#") == std::string::npos) return "";
  driverFiles.erase(0,
                    driverFiles.find(rules::kMegaRaidFamily) + rules::kMegaRaidFamily.size() + 1);
  return rules::FirstWordBeforeBlank(driverFiles);
}

// The product of "LSI SAS1064E rev 2", lowered: 1064e.
static std::string SASProduct(std::string_view product) {
  const std::size_t mark = product.find(rules::kChipMark);
  return mark == std::string_view::npos
             ? std::string()
             : rules::FirstWordBeforeBlank(product.substr(mark + rules::kChipMark.size()));
}

// Deliberate: see "The first file is not searched for the BIOS" in docs/one-query.md.
static std::string WithoutFirstFile(std::string driverFiles) {
  driverFiles.erase(0, driverFiles.find(' '));
  return driverFiles;
}

void TFirmwareRun::CompareBroadcom(const TInstanceHandle& element) {
  LogTrace("starting Brdcom firmware...");
  const std::string driverFiles = DriverFiles(element);
  const std::string identifier =
      rules::toLowerCopy(Installed(kBroadcomFirmware, "SoftwareElementID"));
  LogEach(LogTrace, {identifier, driverFiles});
  // Deliberate: see "A lowered key in a list that is not" in docs/one-query.md.
  const rules::TKeyLookup lookup = rules::FindVersionOfKey(driverFiles, identifier);
  LogTrace("before getting into container 2nd");
  InstalledInstances(kBroadcomFirmware);
  LogTrace("after getting into container 2nd");
  // Deliberate: see "Found without a device" in docs/one-query.md.
  SetFound(rules::EComponent::kBroadcom);
  int device = 0;
  for (const TInstanceHandle& instance : instances) {
    const std::string installed = TextOf(instance, "Version");
    if (installed.find("ASFIPMI") != std::string::npos) continue;
    const std::string offered = lookup.found ? lookup.version.value_or("") : installed;
    // Deliberate: see "Two blanks in a device's name" in docs/one-query.md.
    const std::string name = "Broadcom NetXtreme Network Device  " + std::to_string(device++);
    Deliver(name, installed, offered);
    // Deliberate: see "A record is told of before it, or behind it" in docs/one-query.md.
    LogEach(LogProgress, {"Writing instance:", name, installed, offered});
  }
}

void TFirmwareRun::CompareMegaRAID(const TInstanceHandle& element) {
  LogTrace("starting LSI MR firmware comparison...");
  const std::string description = Installed(kMegaRAIDFirmware, "Description");
  LogProgress(description);
  const std::string installedController = InstalledController(description);
  LogProgress(installedController);
  const std::string listed = DriverFiles(element);
  LogEach(LogProgress, {"driverFiles ==", listed});
  const std::string offeredController = OfferedController(listed);
  LogProgress(offeredController);
  if (installedController != offeredController) {
    LogTrace(rules::kOtherController);
    return;
  }
  // Deliberate: see "driverFiles is read twice" in docs/one-query.md.
  const std::string driverFiles = DriverFiles(element);
  LogEach(LogTrace, {"Matching MR controller:", installedController});
  const rules::TKeyLookup lookup = rules::FindVersionOfKey(driverFiles, rules::kMegaRaidKey);
  if (lookup.found) LogTrace(lookup.version.value_or(""));
  const std::string installed = Installed(kMegaRAIDFirmware, "Version");
  Deliver(listed.substr(0, listed.find("-#")), installed,
          lookup.found ? lookup.version.value_or("") : installed);
}

void TFirmwareRun::CompareIntegratedRAID(const TInstanceHandle& element) {
  // Deliberate: see "The BIOS begins with the firmware's version" in docs/one-query.md.
  std::string offered;
  CompareIntegratedRAIDFirmware(element, offered);
  CompareIntegratedRAIDBIOS(element, offered);
}

void TFirmwareRun::CompareIntegratedRAIDFirmware(const TInstanceHandle& element,
                                                 std::string& offered) {
  const std::string product = rules::toLowerCopy(Installed(kLSIFirmware, "ProductID"));
  LogEach(LogProgress, {"Matching LSI IR...", product});
  const std::string driverFiles = DriverFiles(element);
  LogEach(LogProgress, {"driverFiles ==", driverFiles});
  const rules::TKeyLookup lookup =
      rules::FindVersionOfKey(rules::toLowerCopy(driverFiles), product);
  if (lookup.found) offered = lookup.version.value_or("");
  LogProgress(lookup.found ? std::string_view(offered) : rules::kInstalledIsOffered);
  DeliverIntegratedRAID(kLSIFirmware, "Matching LSI IR firmware.", offered, !lookup.found);
}

void TFirmwareRun::CompareIntegratedRAIDBIOS(const TInstanceHandle& element, std::string& offered) {
  const std::string product = rules::toLowerCopy(Installed(kLSIBIOS, "ProductID"));
  LogProgress(product);
  const std::string driverFiles = rules::toLowerCopy(DriverFiles(element));
  LogEach(LogProgress, {"driverFiles ==", driverFiles});
  const rules::TKeyLookup lookup =
      rules::FindVersionOfKey(WithoutFirstFile(driverFiles), SASProduct(product));
  if (lookup.version) offered = *lookup.version;
  DeliverIntegratedRAID(kLSIBIOS, "", offered, !lookup.found);
}

void TFirmwareRun::DeliverIntegratedRAID(std::string_view className, std::string_view message,
                                         const std::string& offered, bool useInstalled) {
  for (const TInstanceHandle& instance : InstalledInstances(className)) {
    const std::string installed = TextOf(instance, "Version");
    const std::string name = TextOf(instance, "Name");
    if (!message.empty()) LogProgress(message);
    if (installed.empty()) continue;
    const std::string& shown = useInstalled ? installed : offered;
    // Deliberate: see "Two components share one mark" in docs/one-query.md.
    SetFound(rules::EComponent::kRwa);
    LogEach(LogProgress, {"Writing instance:", installed, shown});
    Deliver(name, installed, shown);
  }
}

}  // namespace svc::checker
