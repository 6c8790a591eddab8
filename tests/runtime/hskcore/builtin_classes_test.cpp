#include "runtime/hskcore/in_memory_namespace.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

TEST(BuiltinClasses, ReadAsNullWhereAnInstanceWritesNothing) {
  const TNamespaceHandle inventory = MakeInMemoryNamespace();
  DeclareBuiltinClasses(inventory);
  Add(inventory, "QRXSG_OperatingSystem", "Caption", "Linux");
  const TInstanceHandle system = InstancesOf(inventory, "QRXSG_OperatingSystem").at(0);
  EXPECT_TRUE(ValueOf(system, "OSType").IsNull());
  EXPECT_EQ(ValueOf(system, "OSType").Type(), ECIMType::kUint16);
  EXPECT_EQ(ValueOf(system, "BuildID").Type(), ECIMType::kString);
  for (const char* name : {"QRXSG_ComputerSystem", "QRXSG_LSIBIOSElement",
                           "QRXSG_MegaLSIFWPackageBuildFirmwareElement", "QRXSG_SVResult"}) {
    EXPECT_TRUE(InstancesOf(inventory, name).empty()) << name;
  }
}

TEST(BuiltinClasses, TellADeviceOfAnyKindWithItsIdentifiersAsAnArray) {
  const TNamespaceHandle inventory = MakeInMemoryNamespace();
  DeclareBuiltinClasses(inventory);
  Add(inventory, "SVC_FirmwareDevice", "Name", "A disk");
  const TInstanceHandle device = InstancesOf(inventory, "SVC_FirmwareDevice").at(0);
  EXPECT_EQ(TextOf(device, "Name"), "A disk");
  for (const std::string name : {"Vendor", "Version", "VersionFormat", "Identifiers", "Source",
                                 "VendorIds", "Branch", "BootloaderVersion"}) {
    EXPECT_TRUE(ValueOf(device, name).IsNull()) << name;
    EXPECT_EQ(ValueOf(device, name).Type(), ECIMType::kString) << name;
    EXPECT_EQ(ValueOf(device, name).IsArray(), name == "Identifiers" || name == "VendorIds")
        << name;
  }
}

TEST(BuiltinClasses, AddToWhatADocumentDeclared) {
  const TNamespaceHandle inventory = MakeInMemoryNamespace();
  Declare(inventory, "Base");
  Declare(inventory, "QRXSG_SVResult", "Base");
  DeclareBuiltinClasses(inventory);
  DeclareBuiltinClasses(inventory);
  Add(inventory, "QRXSG_SVResult", "Type", "Driver");
  EXPECT_TRUE(ValueOf(InstancesOf(inventory, "Base").at(0), "SVVersion").IsNull());
}

}  // namespace
}  // namespace svc::testing
