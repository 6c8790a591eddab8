// What becomes of a machine's answers. The answers here were recorded.
#include "recorded_machine.h"

namespace svc::collect {
namespace {

TEST_F(WindowsInventory, TellsTheMachineAndItsSystem) {
  EXPECT_EQ(Of("QRXSG_ComputerSystem"),
            (std::vector<TRow>{{{"MachineType", "7946"},
                                {"Manufacturer", "Arrayon"},
                                {"Model", "System x3550 -[794652G]-"},
                                {"Family", "System x"},
                                {"SKUNumber", "794652G"},
                                {"BaseboardManufacturer", "Boards"},
                                {"BaseboardProduct", "49Y6512"},
                                {"BIOSVendor", "Arrayon"},
                                {"BIOSVersion", "-[D6E124AUS-1.01]-"},
                                {"BIOSMajorRelease", "1"},
                                {"BIOSMinorRelease", "26"},
                                {"SerialNumber", "06ABCDE"},
                                {"UUID", "0F2D7C1E-9A53-11DE-8A39-001A64E0B4F2"},
                                {"Name", "web02"}}}));
  EXPECT_EQ(Of("QRXSG_OperatingSystem"),
            (std::vector<TRow>{{{"Version", "6.1"},
                                {"OSType", "18"},
                                {"BuildID", "7601"},
                                {"HardwarePlatform", "64-bit"},
                                {"Caption", "Microsoft Windows Server 2008 R2 Standard"}}}));
  EXPECT_EQ(Of("QRXSG_SystemBIOSElement"), (std::vector<TRow>{{{"Name", "System BIOS"},
                                                               {"Version", "D6E124AUS-1.01"},
                                                               {"BuildNumber", "D6E124AUS"},
                                                               {"Manufacturer", "Arrayon"},
                                                               {"ReleaseDate", "04/30/2009"}}}));
  EXPECT_TRUE(Of(kFirmwareDevice).empty());
  EXPECT_TRUE(inventory.Notes().empty()) << inventory.Notes().front();
}

TEST_F(WindowsInventory, LeavesOutWhatIdentifiesTheMachineWhenAskedTo) {
  const TRow system = Of("QRXSG_ComputerSystem", true).at(0);
  EXPECT_EQ(system.count("SerialNumber") + system.count("UUID") + system.count("Name"), 0u);
}

TEST_F(WindowsInventory, SaysWhatCannotBeRead) {
  machine.answers.clear();
  machine.drivers.problem = "access is denied (error 5)";
  machine.controller.problem = "access is denied (error 0x80041003)";
  machine.keys[kResourceTable].problem = "access is denied (error 5)";
  EXPECT_EQ(Of("QRXSG_OperatingSystem"), (std::vector<TRow>{{{"OSType", "18"}}}));
  EXPECT_EQ(inventory.Instances().size(), 1u);
  EXPECT_TRUE(IsNoted("Win32_BIOS: invalid class (error 0x80041010)"));
  EXPECT_TRUE(IsNoted("Microsoft_IPMI: access is denied"));
  EXPECT_TRUE(IsNoted("MS_SM_AdapterInformationQuery: invalid class"));
  EXPECT_TRUE(IsNoted("Win32_DiskDrive: invalid class (error 0x80041010); what it tells is left"));
  EXPECT_TRUE(IsNoted("HKLM\\HARDWARE\\UEFI\\ESRT: access is denied (error 5); what it tells"));
  EXPECT_TRUE(IsNoted("service control manager: access is denied (error 5)"));
}

TEST_F(WindowsInventory, TellsWhichSourcesCanBeRead) {
  machine.answers["root\\cimv2:Win32_ComputerSystemProduct"].clear();
  machine.keys[kProcessorKeys].problem = "access is denied (error 5)";
  std::map<std::string, std::string> problems;
  for (const SourceState& source : TryWindowsSources(machine)) {
    problems[source.place] = source.problem;
    EXPECT_EQ(source.advice.empty(), source.problem.empty()) << source.subject;
  }
  EXPECT_EQ(
      problems,
      (std::map<std::string, std::string>{
          {"Win32_BIOS in root\\cimv2", ""},
          {"Win32_ComputerSystem in root\\cimv2", ""},
          {"Win32_ComputerSystemProduct in root\\cimv2", "the machine tells nothing"},
          {"Win32_OperatingSystem in root\\cimv2", ""},
          {"Microsoft_IPMI in root\\WMI", "invalid class (error 0x80041010)"},
          {"MS_SM_AdapterInformationQuery in root\\WMI, which tells of none", ""},
          {"Win32_DiskDrive in root\\cimv2, which tells of none", ""},
          {"HKLM\\HARDWARE\\UEFI\\ESRT, which tells of none", ""},
          {"HKLM\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor", "access is denied (error 5)"},
          {"service control manager", ""}}));
}

TEST_F(WindowsInventory, TellsTheManagementController) {
  using namespace std::string_literals;
  machine.controller.value = "\x00\x20\x01\x02\x36\x02\xBF\xA2\x02\x00\x00\x01\x12\x34\x00\x01"s;
  EXPECT_EQ(
      Of("QRXSG_IPMIFirmwareElement"),
      (std::vector<TRow>{{{"Name", "Baseboard Management Controller"}, {"Version", "2.36"}}}));
  EXPECT_EQ(Of("QRXSG_SPROMFirmwareVPDMain").at(0).at("BuildNumber"), "12340001");
}

TEST_F(WindowsInventory, TakesNoRefusalForAController) {
  machine.controller.value = "\xC1";
  EXPECT_TRUE(Of("QRXSG_IPMIFirmwareElement").empty());
  EXPECT_TRUE(IsNoted("the answer is no device id"));
}

TEST_F(WindowsInventory, TellsTheFirmwareOfStorageAdapters) {
  machine.answers["root\\WMI:MS_SM_AdapterInformationQuery"] = {
      {{"Manufacturer", "LSI Corporation"},
       {"Model", "SAS9211-8i"},
       {"FirmwareVersion", "20.00.07.00"},
       {"OptionROMVersion", "07.39.02.00"}},
      {{"Manufacturer", "LSI Corporation"},
       {"Model", "SAS3081E"},
       {"FirmwareVersion", "1.33.00.00"},
       {"OptionROMVersion", "0.0.0.0"}},
      {{"Manufacturer", "Other"}, {"Model", "M1"}, {"FirmwareVersion", "1"}}};
  EXPECT_EQ(
      Of("QRXSG_LSIFirmwareElement"),
      (std::vector<TRow>{
          {{"Name", "SAS9211-8i Firmware"},
           {"ProductID", "SAS9211-8i"},
           {"Version", "20.00.07.00"}},
          {{"Name", "SAS3081E Firmware"}, {"ProductID", "SAS3081E"}, {"Version", "1.33.00.00"}}}));
  EXPECT_EQ(Of("QRXSG_LSIBIOSElement").size(), 1u);
  EXPECT_TRUE(IsNoted("SAS3081E: no OptionROMVersion"));
  EXPECT_TRUE(IsNoted("M1: its maker \"Other\""));
}

TEST_F(WindowsInventory, TellsDriversWithTheVersionOfTheirFile) {
  machine.drivers.value = {{"null", "", 1},
                           {"E1000", "\\SystemRoot\\system32\\drivers\\e1000.sys", 4}};
  EXPECT_EQ(Of("QRXSG_DeviceDriverInfo"),
            (std::vector<TRow>{{{"Name", "E1000"},
                                {"Path", "C:\\Windows\\system32\\drivers\\e1000.sys"},
                                {"Version", "8.4.1.0"},
                                {"CurrentState", "4"}},
                               {{"Name", "null"},
                                {"Path", "C:\\Windows\\system32\\drivers\\null.sys"},
                                {"CurrentState", "1"}}}));
}

TEST(DriverFile, IsFoundWhateverTheFormOfItsPath) {
  const std::string root = "C:\\Windows";
  for (const auto& [path, file] : std::map<std::string, std::string>{
           {"", "C:\\Windows\\system32\\drivers\\x.sys"},
           {"system32\\drivers\\x.sys", "C:\\Windows\\system32\\drivers\\x.sys"},
           {"\\SystemRoot\\System32\\x.sys", "C:\\Windows\\System32\\x.sys"},
           {"\\??\\D:\\a b\\x.sys", "D:\\a b\\x.sys"},
           {"\"C:\\a b\\x.sys\" -k", "C:\\a b\\x.sys"},
           {"C:\\x.sys", "C:\\x.sys"}}) {
    EXPECT_EQ(DriverFile({"x", path, 4}, root), file) << path;
  }
}

}  // namespace
}  // namespace svc::collect
