#include "runtime/hskcore/builtin_classes.h"

#include <array>
#include <string_view>

#include "runtime/hskcore/in_memory_namespace.h"

namespace svc {

using NQRXHSK20::ECIMType;

namespace {

struct TBuiltinProperty {
  std::string_view name;
  ECIMType type = ECIMType::kString;

  // A name alone stands for a string.
  constexpr TBuiltinProperty(const char* name = "", ECIMType type = ECIMType::kString)
      : name(name), type(type) {}
};

struct TBuiltinClass {
  std::string_view name;
  // Ends with the first empty name.
  std::array<TBuiltinProperty, 5> properties;
};

constexpr std::array<TBuiltinClass, 12> kBuiltinClasses = {{
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
}};

}  // namespace

void DeclareBuiltinClasses(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target) {
  TNamespaceWriter writer(target);
  for (const TBuiltinClass& builtin : kBuiltinClasses) {
    writer.BeginClass(builtin.name, "");
    for (const TBuiltinProperty& property : builtin.properties) {
      if (!property.name.empty()) {
        writer.WriteNull(property.name, property.type, false);
      }
    }
    writer.Finish();
  }
}

}  // namespace svc
