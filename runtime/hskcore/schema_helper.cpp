#include "host/hskcore/schema_helper.h"

#include <array>
#include <string_view>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/root_object.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"

namespace NQRXHSK20 {

namespace {

// Empty when the instance has none.
std::string MachineTypeOf(const boost::shared_ptr<ICIMInstance>& system) {
  try {
    boost::shared_ptr<ICIMProperty> property;
    system->GetProperty(property, "MachineType", {});
    return property->Value({}).ToString(10);
  } catch (const THSKException& error) {
    if (error.GetStatusCode() != THSKStatusCode::kNoSuchProperty) {
      throw;
    }
    return {};
  }
}

}  // namespace

const char* const TCIMSchemaHelper::kContextName = "Namespace";
const char* const TCIMSchemaHelper::kPluginNSPName = "plugin.nsp";

std::string TCIMSchemaHelper::GetMachineType(const boost::shared_ptr<ICIMNamespace>& inventory) {
  boost::shared_ptr<ICIMClass> systemClass;
  inventory->GetClass(systemClass, "QRXSG_ComputerSystem", {});
  std::vector<boost::shared_ptr<ICIMInstance>> systems;
  systemClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(systems), true, {});
  for (const auto& system : systems) {
    std::string machineType = MachineTypeOf(system);
    if (!machineType.empty()) {
      return machineType;
    }
  }
  throw THSKException(
      "The inventory names no machine type: no instance of \"QRXSG_ComputerSystem\" has a "
      "\"MachineType\"",
      THSKStatusCode::kFailed);
}

}  // namespace NQRXHSK20

namespace svc {

using NQRXHSK20::ECIMType;

namespace {

struct TBuiltinProperty {
  std::string_view name;
  ECIMType type = ECIMType::kString;
  bool isArray = false;

  // A name alone stands for a string.
  constexpr TBuiltinProperty(const char* name = "", ECIMType type = ECIMType::kString,
                             bool isArray = false)
      : name(name), type(type), isArray(isArray) {}
};

struct TBuiltinClass {
  std::string_view name;
  // Ends with the first empty name.
  std::array<TBuiltinProperty, 9> properties;
};

constexpr std::array<TBuiltinClass, 13> kBuiltinClasses = {{
    {"QRXSG_ComputerSystem", {"MachineType", "Manufacturer", "Model", "SerialNumber", "UUID"}},
    {"QRXSG_OperatingSystem",
     {"Version", {"OSType", ECIMType::kUint16}, "BuildID", "HardwarePlatform", "Caption"}},
    {"QRXSG_SystemBIOSElement", {"Name", "Version", "BuildNumber", "Manufacturer", "ReleaseDate"}},
    {"QRXSG_DiagnosticVPD", {"BuildNumber", "Version"}},
    {"QRXSG_SPROMFirmwareVPDMain", {"Name", "BuildNumber", "Version"}},
    {"QRXSG_IPMIFirmwareElement", {"Name", "Version"}},
    {"QRXSG_BcmDeviceFirmwareElement", {"Name", "SoftwareElementID", "Version"}},
    {"QRXSG_MegaLSIFWPackageBuildFirmwareElement", {"Name", "Description", "Version"}},
    {"QRXSG_LSIFirmwareElement", {"Name", "ProductID", "Version"}},
    {"QRXSG_LSIBIOSElement", {"Name", "ProductID", "Version"}},
    {"QRXSG_DeviceDriverInfo", {"Name", "Path", "Version", "CurrentState"}},
    {"QRXSG_SVResult", {"Type", "Name", "InstalledVersion", "SVVersion"}},
    // What is installed and none of the classes before tells. The version checker does not read it.
    {"SVC_FirmwareDevice",
     {"Name",
      "Vendor",
      "Version",
      "VersionFormat",
      {"Identifiers", ECIMType::kString, true},
      "Source",
      {"VendorIds", ECIMType::kString, true},
      "Branch",
      "BootloaderVersion"}},
}};

}  // namespace

void DeclareBuiltinClasses(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target) {
  TNamespaceWriter writer(target);
  for (const TBuiltinClass& builtin : kBuiltinClasses) {
    writer.BeginClass(builtin.name, "");
    for (const TBuiltinProperty& property : builtin.properties) {
      if (!property.name.empty()) {
        writer.WriteNull(property.name, property.type, property.isArray);
      }
    }
    writer.Finish();
  }
}

}  // namespace svc
