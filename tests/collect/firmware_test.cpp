// The machine's identity and its firmware, from made trees.
#include <gtest/gtest.h>

#include <cerrno>

#include "collect/firmware_device.h"
#include "collect/linux/linux_collector.h"
#include "made_tree.h"

namespace svc::collect {
namespace {

using namespace std::string_literals;

const std::string kDmi = "/sys/class/dmi/id/";
const std::string kTable = "/sys/firmware/dmi/tables/DMI";

std::string Firmware(const std::string& name, const std::string& version, const std::string& id) {
  return SmbiosStructure(45, "\x01\x02\x00\x03\0\0\0\0"s + std::string(10, '\0') + "\x04\0"s,
                         {name, version, id});
}

TEST(ComputerSystem, HasTheMachineTypeBetweenItsMarks) {
  TMadeTree tree;
  tree.Write(kDmi + "product_name", "QRX Rackwell 3650 -[4620AC1]-\n")
      .Write(kDmi + "sys_vendor", "QRX\n")
      .Write(kDmi + "product_serial", "KQ12345\n")
      .Write(kDmi + "product_uuid", "00112233-4455-6677-8899-aabbccddeeff\n");
  const auto system = tree.Instances("QRXSG_ComputerSystem").at(0);
  EXPECT_EQ(system["MachineType"], "4620");
  EXPECT_EQ(system["Model"], "QRX Rackwell 3650 -[4620AC1]-");
  EXPECT_EQ(system["Manufacturer"], "QRX");
  EXPECT_EQ(system["SerialNumber"], "KQ12345");
  EXPECT_EQ(system["UUID"], "00112233-4455-6677-8899-aabbccddeeff");
}

std::string HardwareFields(const TMadeTree& tree) {
  const auto system = tree.Instances("QRXSG_ComputerSystem").at(0);
  std::string text;
  for (const char* name :
       {"Family", "SKUNumber", "BaseboardManufacturer", "BaseboardProduct", "BIOSVendor",
        "BIOSVersion", "BIOSMajorRelease", "BIOSMinorRelease", "EnclosureType"})
    text += system[name] + ",";
  return text;
}

TEST(ComputerSystem, TellsWhatHardwareIdsAreMadeOf) {
  TMadeTree tree;
  tree.Write(kDmi + "product_family", "Rackwell\n")
      .Write(kDmi + "product_sku", "0815\n")
      .Write(kDmi + "board_vendor", "Boards\n")
      .Write(kDmi + "board_name", "B1\n")
      .Write(kDmi + "bios_vendor", "QRX\n")
      .Write(kDmi + "bios_version", "QKL118A\n")
      .Write(kDmi + "bios_release", "1.18\n")
      .Write(kDmi + "chassis_type", "23\n");
  EXPECT_EQ(HardwareFields(tree), "Rackwell,0815,Boards,B1,QRX,QKL118A,1,18,23,");
  tree.Write(kDmi + "bios_release", "none\n");
  EXPECT_EQ(HardwareFields(tree), "Rackwell,0815,Boards,B1,QRX,QKL118A,none,(none),23,");
}

TEST(ComputerSystem, TakesWhatHardwareIdsAreMadeOfFromTheSmbiosTable) {
  TMadeTree tree;
  tree.Write(
          kTable,
          SmbiosStructure(0, "\x01\x02\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x05\x28"s, {"QRX", "QKL118A"}) +
              SmbiosStructure(1, "\x01\x02\0\0"s + std::string(17, '\0') + "\x03\x04"s,
                              {"QRX", "4638", "0815", "Rackwell"}) +
              SmbiosStructure(2, "\x01\x02"s, {"Boards", "B1"}) + SmbiosStructure(3, "\0\x97"s, {}))
      .Write(kDmi + "chassis_type", "23\n")
      .Write(kDmi + "bios_release", "1.18\n");
  // 0x97 is 23 with the bit of a lock, which the kernel leaves out.
  EXPECT_EQ(HardwareFields(tree), "Rackwell,0815,Boards,B1,QRX,QKL118A,5,40,151,");
  tree.Write(kTable,
             SmbiosStructure(0, "\x01\x02"s, {"QRX", "QKL118A"}) + SmbiosStructure(3, "", {}));
  EXPECT_EQ(HardwareFields(tree), "(none),(none),(none),(none),QRX,QKL118A,1,18,23,");
}

TEST(ComputerSystem, HasTheProductNameAsTypeWithoutMarks) {
  TMadeTree tree;
  tree.Write(kDmi + "product_name", "Standard PC (Q35 + ICH9, 2009)\n");
  EXPECT_EQ(tree.Instances("QRXSG_ComputerSystem").at(0)["MachineType"],
            "Standard PC (Q35 + ICH9, 2009)");
  tree.Write(kDmi + "product_name", "Rackwell -[4620]-\n");
  EXPECT_EQ(tree.Instances("QRXSG_ComputerSystem").at(0)["MachineType"], "4620");
}

TEST(ComputerSystem, IsReadFromTheSmbiosTableWhereAttributesLack) {
  TMadeTree tree;
  const std::string uuid = "\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF"s;
  tree.Write(kTable, SmbiosStructure(0, "\x01\x02\0\0\x03"s, {"QRX", "QKL118A", "03/07/2010"}) +
                         SmbiosStructure(1, "\x01\x02\0\x03"s + uuid, {"QRX", "4638", "KQ1"}))
      .Write("/sys/firmware/dmi/tables/smbios_entry_point", "_SM_\0\0\x02\x06"s);
  const auto system = tree.Instances("QRXSG_ComputerSystem").at(0);
  EXPECT_EQ(system["MachineType"], "4638");
  EXPECT_EQ(system["SerialNumber"], "KQ1");
  EXPECT_EQ(system["UUID"], "00112233-4455-6677-8899-aabbccddeeff");
  const auto bios = tree.Instances("QRXSG_SystemBIOSElement").at(0);
  EXPECT_EQ(bios["Version"], "QKL118A");
  EXPECT_EQ(bios["Manufacturer"], "QRX");
  EXPECT_EQ(bios["ReleaseDate"], "03/07/2010");
}

TEST(ComputerSystem, HasTheByteOrderOfItsUuidByTheVersionOfTheTable) {
  const std::string uuid = "\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF"s;
  TMadeTree tree;
  tree.Write(kTable, SmbiosStructure(1, "\x01\x02\0\x03"s + uuid, {"QRX", "4638", "KQ1"}));
  const auto read = [&] { return tree.Instances("QRXSG_ComputerSystem").at(0)["UUID"]; };
  const std::string little = "00112233-4455-6677-8899-aabbccddeeff";
  const std::string big = "33221100-5544-7766-8899-aabbccddeeff";
  EXPECT_EQ(read(), big) << "no entry point";
  struct TCase {
    std::string entryPoint;
    std::string uuid;
  };
  const TCase cases[] = {{"_SM_\0\0\x02\x05"s, big},
                         {"_SM_\0\0\x02\x06"s, little},
                         {"_SM_\0\0\x01\x09"s, big},
                         {"_SM_\0\0\x03\x00"s, little},
                         {"_SM_\0\0\x03"s, big},
                         {"_SM3_\0\0\0"s, little},
                         {"_SM3_"s, little},
                         {"_DMI_\0\x03\x03"s, big},
                         {"_SM3"s, big}};
  for (const TCase& one : cases) {
    tree.Write("/sys/firmware/dmi/tables/smbios_entry_point", one.entryPoint);
    EXPECT_EQ(read(), one.uuid) << testing::PrintToString(one.entryPoint);
  }
}

TEST(ComputerSystem, LosesWhatTellsWhoWhenRedacted) {
  TMadeTree tree;
  tree.Write(kDmi + "product_name", "4638\n")
      .Write(kDmi + "product_serial", "KQ12345\n")
      .Write(kDmi + "product_uuid", "00112233-4455-6677-8899-aabbccddeeff\n")
      .Write("/proc/sys/kernel/hostname", "web02\n")
      .Write("/etc/hostname", "web02\n");
  const std::string document = tree.Collect(true).document;
  EXPECT_EQ(document.find("web02"), std::string::npos);
  EXPECT_NE(document.find("4638"), std::string::npos);
  EXPECT_EQ(document.find("KQ12345"), std::string::npos);
  EXPECT_EQ(document.find("00112233"), std::string::npos);
  EXPECT_EQ(document.find("SerialNumber"), std::string::npos);
}

TEST(ComputerSystem, HasTheHostNameOfTheRunningKernelOrElseOfTheNextStart) {
  TMadeTree tree;
  const auto name = [&] { return tree.Instances("QRXSG_ComputerSystem").at(0)["Name"]; };
  tree.Write(kDmi + "product_name", "4638\n");
  EXPECT_EQ(tree.Collect().document.find("\"Name\""), std::string::npos);
  tree.Write("/etc/hostname", "# of the rack\n\n  web01.example \nother\n");
  EXPECT_EQ(name(), "web01.example");
  tree.Write("/proc/sys/kernel/hostname", "(none)\n");
  EXPECT_EQ(name(), "web01.example");
  tree.Write("/proc/sys/kernel/hostname", "web02\n");
  EXPECT_EQ(name(), "web02");
}

TEST(ComputerSystem, IsLeftOutAndNotedWhenNothingTellsIt) {
  const TMadeTree tree;
  EXPECT_TRUE(tree.Instances("QRXSG_ComputerSystem").empty());
  EXPECT_TRUE(tree.Instances("QRXSG_SystemBIOSElement").empty());
  EXPECT_EQ(tree.Notes("machine type is unknown").size(), 1U);
  EXPECT_EQ(tree.Notes("bios_version").size(), 1U);
}

TEST(ComputerSystem, LosesWhatCannotBeReadAndSaysWhy) {
  TMadeTree tree;
  tree.Write(kDmi + "product_name", "4638\n")
      .Link(kDmi + "product_serial", "product_serial")
      .Link(kDmi + "product_uuid", "product_uuid");
  const std::string why = ": Too many levels of symbolic links; left out";
  EXPECT_EQ(tree.Notes("product_"),
            (std::vector{kDmi + "product_serial" + why, kDmi + "product_uuid" + why}));
}

TEST(WhyNot, NamesWhoMayWhereThatIsTheCause) {
  EXPECT_EQ(WhyNot(EACCES), "Permission denied (root can read it)");
  EXPECT_EQ(WhyNot(EPERM), "Operation not permitted (root can read it)");
  EXPECT_EQ(WhyNot(ELOOP), "Too many levels of symbolic links");
}

TEST(SystemBios, IsTakenOutOfItsMarks) {
  TMadeTree tree;
  tree.Write(kDmi + "bios_version", "-[QKL120AUS-1.10]-\n");
  const auto bios = tree.Instances("QRXSG_SystemBIOSElement").at(0);
  EXPECT_EQ(bios["Version"], "QKL120AUS-1.10");
  EXPECT_EQ(bios["BuildNumber"], "QKL120AUS");
}

TEST(SmbiosTableFile, ThatIsBrokenIsNoted) {
  TMadeTree tree;
  tree.Write(kTable, SmbiosStructure(1, "\x01\x02"s, {"QRX", "4638"}) + "\x2D\x40");
  EXPECT_EQ(tree.Instances("QRXSG_ComputerSystem").at(0)["MachineType"], "4638");
  EXPECT_EQ(tree.Notes("ends within a header").size(), 1U);
}

TEST(ManagementController, HasItsMinorVersionInTwoDigits) {
  TMadeTree tree;
  tree.Write("/sys/devices/platform/ipmi_bmc.0/firmware_revision", "1.5\n")
      .Write("/sys/devices/platform/ipmi_bmc.1/firmware_revision", "2.23\n")
      .Write("/sys/devices/platform/ipmi_bmc.1/aux_firmware_revision", "0x00 0x00 0x00 0x00\n")
      .Write("/sys/devices/platform/ipmi_si.0/firmware_revision", "9.99\n");
  const auto controllers = tree.Instances("QRXSG_IPMIFirmwareElement");
  ASSERT_EQ(controllers.size(), 2U);
  EXPECT_EQ(controllers[0]["Version"], "1.05");
  EXPECT_EQ(controllers[1]["Version"], "2.23");
  EXPECT_EQ(controllers[0]["Name"], "Baseboard Management Controller");
  EXPECT_TRUE(tree.Instances("QRXSG_SPROMFirmwareVPDMain").empty()) << "no build is told";
}

TEST(ManagementController, HasTheAuxiliaryRevisionAsItsBuild) {
  TMadeTree tree;
  tree.Write("/sys/devices/platform/ipmi_bmc.0/firmware_revision", "1.23\n")
      .Write("/sys/devices/platform/ipmi_bmc.0/aux_firmware_revision", "0x01 0x00 0x2a 0x00\n");
  const auto elements = tree.Instances("QRXSG_SPROMFirmwareVPDMain");
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0]["BuildNumber"], "01002a00");
  EXPECT_EQ(elements[0]["Version"], "1.23");
}

TEST(ManagementController, HasTheBytesAloneAsItsBuild) {
  TMadeTree tree;
  tree.Write("/sys/devices/platform/ipmi_bmc.0/firmware_revision", "1.23\n")
      .Write("/sys/devices/platform/ipmi_bmc.0/aux_firmware_revision",
             "0x1 0x02 aux1 0x123 0X04 0xa5 unknown\n");
  const auto elements = tree.Instances("QRXSG_SPROMFirmwareVPDMain");
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0]["BuildNumber"], "02a5");
}

TEST(ManagementController, WithoutARevisionIsNotedAndLeftOut) {
  TMadeTree tree;
  const std::string folder = "/sys/devices/platform/ipmi_bmc.";
  tree.Write(folder + "0/aux_firmware_revision", "0x01 0x00 0x2a 0x00\n")
      .Write(folder + "1/firmware_revision", "\n")
      .Write(folder + "2/firmware_revision", "2.5\n");
  const auto controllers = tree.Instances("QRXSG_IPMIFirmwareElement");
  ASSERT_EQ(controllers.size(), 1U);
  EXPECT_EQ(controllers[0]["Version"], "2.05");
  EXPECT_TRUE(tree.Instances("QRXSG_SPROMFirmwareVPDMain").empty());
  const std::string why = "/firmware_revision: no revision of the management controller";
  EXPECT_EQ(tree.Notes("management controller"),
            (std::vector{folder + "0" + why, folder + "1" + why}));
}

TEST(ManagementController, IsNamedByTheFirmwareInventory) {
  TMadeTree tree;
  tree.Write("/sys/devices/platform/ipmi_bmc.0/aux_firmware_revision", "0x01 0x00 0x2a 0x00\n")
      .Write("/sys/devices/platform/ipmi_bmc.0/firmware_revision", "1.23\n")
      .Write(kTable, Firmware("QRX Integrated Management Module", "1.30", "YUOO84C") +
                         Firmware("Preboot Diagnostics", "9.21", "DSYT92A") +
                         Firmware("QRX Arrayon-AX20i SAS Controller", "11.0.1-0036", "") +
                         Firmware("Power Supply 1", "3.1", "PS"));
  const auto elements = tree.Instances("QRXSG_SPROMFirmwareVPDMain");
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0]["Name"], "QRX Integrated Management Module");
  EXPECT_EQ(elements[0]["BuildNumber"], "YUOO84C");
  EXPECT_EQ(elements[0]["Version"], "1.30");
  const auto diagnostics = tree.Instances("QRXSG_DiagnosticVPD");
  ASSERT_EQ(diagnostics.size(), 1U);
  EXPECT_EQ(diagnostics[0]["BuildNumber"], "DSYT92A");
  const auto raid = tree.Instances("QRXSG_MegaLSIFWPackageBuildFirmwareElement");
  ASSERT_EQ(raid.size(), 1U);
  EXPECT_EQ(raid[0]["Description"], "QRX Arrayon-AX20i SAS Controller");
  EXPECT_EQ(raid[0]["Version"], "11.0.1-0036");
}

TEST(ManagementController, GoesByAnyOfItsNamesInTheFirmwareInventory) {
  const auto isOne = [](const std::string& name) {
    TMadeTree tree;
    tree.Write(kTable, Firmware(name, "1", "x"));
    return tree.Instances("QRXSG_SPROMFirmwareVPDMain").size() == 1;
  };
  for (const char* name :
       {"BMC", "Board bmc 2", "The Management Controller", "management processor",
        "Control Processor", "Remote Watch Adapter", "Management Modules"})
    EXPECT_TRUE(isOne(name)) << name;
  for (const char* name : {"xBMC", "BMC2", "Management", "Controller", "Processor"})
    EXPECT_FALSE(isOne(name)) << name;
}

TEST(ManagementController, ThatHasNoDriverIsNoted) {
  TMadeTree tree;
  tree.Write(kTable, SmbiosStructure(38, "\x01\x20\x20\xFF"s, {}));
  EXPECT_EQ(tree.Notes("modprobe ipmi_si"),
            std::vector<std::string>{
                "/sys/devices/platform/ipmi_bmc.*: the machine has a management controller, but "
                "its driver is not loaded (modprobe ipmi_si); left out"});
}

TEST(ManagementController, HasAZeroBeforeOneDigitBehindThePointAlone) {
  EXPECT_EQ(BcdVersion("1.2"), "1.02");
  EXPECT_EQ(BcdVersion("1.23"), "1.23");
  EXPECT_EQ(BcdVersion("1.234"), "1.234");
  EXPECT_EQ(BcdVersion("1."), "1.");
  EXPECT_EQ(BcdVersion("12"), "12");
  EXPECT_EQ(BcdVersion(""), "");
}

TEST(ManagementController, IsAskedThroughItsDeviceAlone) {
  TMadeTree tree;
  tree.Write("/plain", "").Link("/loop", "loop");
  const auto problemOf = [&](const std::string& name) {
    std::string problem;
    EXPECT_FALSE(AskManagementController((tree.Root() / name).c_str(), problem)) << name;
    return problem;
  };
  EXPECT_EQ(problemOf("none"), "") << "most machines have no such device";
  EXPECT_EQ(problemOf("loop"), "Too many levels of symbolic links");
  EXPECT_EQ(problemOf("plain"), "the request was refused: Inappropriate ioctl for device");
}

TEST(DeviceId, IsReadFromTheResponse) {
  const std::string shortest = "\x00\x20\x01\x81\x23\x02\xDF\x00\x00\x00\x00\x00"s;
  ASSERT_TRUE(ParseDeviceId(shortest));
  EXPECT_EQ(ParseDeviceId(shortest)->version, "1.23") << "bit 7 says that an update runs";
  EXPECT_EQ(ParseDeviceId(shortest)->auxiliary, "");
  EXPECT_EQ(ParseDeviceId(shortest + "\x0A\x00\x00\x01"s)->auxiliary, "0a000001");
  EXPECT_FALSE(ParseDeviceId(shortest.substr(1)));
  EXPECT_FALSE(ParseDeviceId("\xC1"s + shortest.substr(1))) << "refused by the controller";
  EXPECT_FALSE(ParseDeviceId(""));
}

TEST(RaidController, IsReadFromItsInformation) {
  std::string info(2048, '\0');
  info.replace(0x540, 25, "QRX Arrayon-AX20i SAS\0xyz"s);
  info.replace(0x640, 12, "11.0.1-0036 "s);
  ASSERT_TRUE(ParseControllerInfo(info));
  EXPECT_EQ(ParseControllerInfo(info)->product, "QRX Arrayon-AX20i SAS");
  EXPECT_EQ(ParseControllerInfo(info)->package, "11.0.1-0036");
  EXPECT_FALSE(ParseControllerInfo(info.substr(0, 1000)));
}

// Only the bytes of the text exist, so that a sanitizer sees a read behind them.
template <typename TParse>
auto ParseExactly(TParse parse, std::size_t size, const std::string& bytes) {
  const std::vector<char> exact(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
  return parse(std::string_view(exact.data(), exact.size()));
}

TEST(RaidController, IsReadFromTheLengthOnThatHoldsItsVersion) {
  std::string info(2048, '\0');
  info.replace(0x640 + 0x5F, 1, "9");
  info.replace(0x640, 0x5F, std::string(0x5F, '1'));
  EXPECT_FALSE(ParseExactly(ParseControllerInfo, 0x69F, info));
  EXPECT_EQ(ParseExactly(ParseControllerInfo, 0x6A0, info)->package, std::string(0x5F, '1') + "9");
  EXPECT_EQ(ParseExactly(ParseControllerInfo, 0x6A1, info)->package, std::string(0x5F, '1') + "9");
  EXPECT_FALSE(ParseExactly(ParseControllerInfo, 0, info));
}

TEST(DeviceId, HasItsAuxiliaryRevisionFromTheLengthOnThatHoldsIt) {
  const std::string response = "\0\x20\x81\x01\x23\x02\xBF\xD0\0\0\x2A\0\x0A\x00\x00\x01\xFF"s;
  ASSERT_EQ(response.size(), 17U);
  EXPECT_FALSE(ParseExactly(ParseDeviceId, 11, response));
  for (const std::size_t size : {12, 13, 15})
    EXPECT_EQ(ParseExactly(ParseDeviceId, size, response)->auxiliary, "") << size;
  for (const std::size_t size : {16, 17})
    EXPECT_EQ(ParseExactly(ParseDeviceId, size, response)->auxiliary, "0a000001") << size;
}

constexpr const char* kMegaRaid = "QRXSG_MegaLSIFWPackageBuildFirmwareElement";

TSmbiosTable TableOf(const std::string& name) {
  return ParseSmbiosTable(
      SmbiosStructure(45, "\x01\x02\0\x03"s + std::string(14, '\0') + "\4\0"s, {name, "2.0", "x"}) +
      SmbiosStructure(127, "", {}));
}

TEST(RaidController, OfTheFirmwareInventoryStandsInForOneThatIsNotAskedAndBesideNone) {
  const TMadeTree made;
  const TTree tree(made.Root().string());
  for (const char* name : {"RAID Controller", "QRX Arrayon-AX20i"}) {
    const TMachine machine{tree, TableOf(name), false};
    TInventory told;
    ReadMegaRaid(machine, told);
    ASSERT_EQ(told.Instances().size(), 1U) << name;
    EXPECT_TRUE(told.Holds(kMegaRaid));
    TInventory asked;
    asked.Add(TInstance(kMegaRaid).Set("Version", "11.0"));
    ReadMegaRaid(machine, asked);
    ASSERT_EQ(asked.Instances().size(), 1U) << "the controller has answered itself";
    EXPECT_EQ(asked.Instances().front().Properties().front().value, "11.0");
  }
  TInventory none;
  ReadMegaRaid({tree, TableOf("Boot ROM"), false}, none);
  EXPECT_TRUE(none.Instances().empty());
}

TEST(RaidController, GoesByTheNumberOfItsHost) {
  TMadeTree tree;
  const auto add = [&](const std::string& name) {
    tree.Write("/sys/class/scsi_host/" + name + "/proc_name", "megaraid_sas\n");
  };
  const std::vector<std::string> numbered = {"host0", "host2147483647", "host2147483648",
                                             "host4294967295"};
  for (const std::string& name : numbered) add(name);
  for (const char* name :
       {"host", "host-1", "host+1", "host 1", "host1x", "1", "Host1", "host4294967296",
        "host4294967297", "host9223372036854775808", "host18446744073709551617"}) {
    add(name);
  }
  EXPECT_EQ(tree.Notes("MegaRAID controller: ").size(), numbered.size());
  for (const std::string& name : numbered)
    EXPECT_EQ(tree.Notes("/" + name + ": MegaRAID controller: ").size(), 1U) << name;
}

TEST(MptController, GivesFirmwareAndBios) {
  TMadeTree tree;
  const std::string host = "/sys/class/scsi_host/host2/";
  tree.Write("/sys/class/scsi_host/host0/proc_name", "ahci\n")
      .Write("/sys/class/scsi_host/host0/version_fw", "9\n")
      .Write(host + "proc_name", "mptsas\n")
      .Write(host + "board_name", "SAS3041E\n")
      .Write(host + "version_product", "LSISAS1064E B3\n")
      .Write(host + "version_fw", "01.30.00.00\n")
      .Write(host + "version_bios", "06.2c.00.00\n");
  const auto firmware = tree.Instances("QRXSG_LSIFirmwareElement");
  ASSERT_EQ(firmware.size(), 1U);
  EXPECT_EQ(firmware[0]["ProductID"], "LSISAS1064E B3");
  EXPECT_EQ(firmware[0]["Version"], "01.30.00.00");
  EXPECT_EQ(firmware[0]["Name"], "SAS3041E Firmware");
  const auto bios = tree.Instances("QRXSG_LSIBIOSElement");
  ASSERT_EQ(bios.size(), 1U);
  EXPECT_EQ(bios[0]["Version"], "06.2c.00.00");
  EXPECT_EQ(bios[0]["Name"], "SAS3041E BIOS");
}

TEST(MptController, WithoutABiosGivesNone) {
  TMadeTree tree;
  tree.Write("/sys/class/scsi_host/host0/proc_name", "mpt3sas\n")
      .Write("/sys/class/scsi_host/host0/version_fw", "16.00.10.00\n")
      .Write("/sys/class/scsi_host/host0/version_bios", "00.00.00.00\n");
  EXPECT_EQ(tree.Instances("QRXSG_LSIFirmwareElement").size(), 1U);
  EXPECT_TRUE(tree.Instances("QRXSG_LSIBIOSElement").empty());
  EXPECT_EQ(
      tree.Notes("version_bios"),
      std::vector<std::string>{"/sys/class/scsi_host/host0/version_bios: the controller tells "
                               "no version; left out"});
}

TEST(LiveDevices, OfACapturedTreeAreNotedAndNeverAskedHere) {
  TMadeTree tree;
  const std::string device = "/sys/bus/pci/devices/0000:01:00.0/";
  tree.Write(device + "vendor", "0x14e4\n")
      .Write(device + "class", "0x020000\n")
      .Write(device + "device", "0x1639\n")
      .Write("/sys/bus/pci/devices/0000:02:00.0/vendor", "0x14e4\n")
      .Write("/sys/bus/pci/devices/0000:02:00.0/class", "0x010700\n")
      .Write("/sys/class/scsi_host/host1/proc_name", "megaraid_sas\n");
  EXPECT_TRUE(tree.Instances("QRXSG_BcmDeviceFirmwareElement").empty());
  EXPECT_EQ(tree.Notes("0000:01:00.0: Broadcom").size(), 1U);
  EXPECT_TRUE(tree.Notes("0000:02:00.0").empty()) << "it is no network device";
  EXPECT_EQ(tree.Notes("host1: MegaRAID").size(), 1U);
}

}  // namespace
}  // namespace svc::collect
