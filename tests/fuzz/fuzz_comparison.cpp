// The texts of a catalogue and an inventory through the whole comparison. Each line of the input
// is the value of one property, in the order of kTexts; several instances of a class come from
// going through the list again.
#include <array>

#include "plugins/version_checker/drivers/driver_operations.h"
#include "plugins/version_checker/firmware/firmware_operations.h"
#include "tests/fuzz/fuzz_support.h"

using namespace NQRXHSK20;
using namespace svc::checker;
using namespace svc::fuzz;

namespace {

struct TTextRow {
  const char* className;
  std::vector<std::string> properties;
};

const std::vector<TTextRow>& Texts() {
  static const std::vector<TTextRow> kTexts = {
      {"QRXPSG_SystemUpdateElement",
       {"description", "category", "installDirectory", "Version", "BuildNumber", "driverFiles",
        "applicableMachineTypes", "applicableOperatingSystems"}},
      {"QRXSG_SystemBIOSElement", {"Version"}},
      {"QRXSG_DiagnosticVPD", {"BuildNumber", "Version"}},
      {"QRXSG_SPROMFirmwareVPDMain", {"BuildNumber", "Name", "Version"}},
      {"QRXSG_IPMIFirmwareElement", {"Name", "Version"}},
      {"QRXSG_BcmDeviceFirmwareElement", {"SoftwareElementID", "Version"}},
      {"QRXSG_MegaLSIFWPackageBuildFirmwareElement", {"Description", "Version"}},
      {"QRXSG_LSIFirmwareElement", {"ProductID", "Version", "Name"}},
      {"QRXSG_LSIBIOSElement", {"ProductID", "Version", "Name"}},
      {"QRXSG_DeviceDriverInfo", {"Path", "Version", "CurrentState"}},
      {"QRXSG_SVResult", {}},
  };
  return kTexts;
}

bool TakeLine(std::string_view& text, std::string& line) {
  if (text.empty()) return false;
  const std::size_t end = text.find('\n');
  line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return true;
}

void AddInstance(const TNamespaceHandle& target, const TTextRow& row, std::string_view& text) {
  boost::shared_ptr<ICIMClass> cimClass;
  target->GetClass(cimClass, row.className, CIMContext());
  TInstanceHandle instance;
  cimClass->CreateInstance(instance, CIMContext());
  std::string line;
  for (const std::string& property : row.properties) {
    if (TakeLine(text, line)) instance->SetPropertyValue(property, TCIMValue(line), CIMContext());
  }
  instance->Commit(CIMContext());
}

TNamespaceHandle Fill(std::string_view text) {
  const TNamespaceHandle machine = NewNamespace();
  for (const TTextRow& row : Texts()) DeclareClass(machine, row.className, row.properties);
  for (int round = 0; round < 4 && !text.empty(); ++round) {
    for (const TTextRow& row : Texts()) {
      if (!row.properties.empty() && !text.empty()) AddInstance(machine, row, text);
    }
  }
  return machine;
}

TInstanceList Elements(const TNamespaceHandle& machine) {
  boost::shared_ptr<ICIMClass> cimClass;
  machine->GetClass(cimClass, "QRXPSG_SystemUpdateElement", CIMContext());
  TInstanceList elements;
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(elements), true, CIMContext());
  return elements;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const TNamespaceHandle machine = Fill(AsText(data, size));
  const TInstanceList applicable =
      TInventoryOperations::MatchMachineInstances("4620", Elements(machine));
  Require(applicable.size() <= Elements(machine).size(), "matching adds nothing");
  TFirmwareOperations::CompareFirmware(machine, Elements(machine), "4620");
  TDriverFiles offered;
  TDriverList installed;
  TDriverOperations::CollectCatalogueDrivers(offered, Elements(machine), "RHEL5");
  TDriverOperations::CollectInstalledDrivers(installed, machine);
  TDriverOperations::CompareDrivers(offered, installed, machine);
  ReadAll(machine, "QRXSG_SVResult", {"Type", "Name", "InstalledVersion", "SVVersion"});
  return 0;
}
