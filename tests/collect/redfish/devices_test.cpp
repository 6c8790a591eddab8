// The devices of a server: what is told of them, and what is asked for that.
#include <gtest/gtest.h>

#include "service_in_memory.h"

namespace svc::collect {
namespace {

TEST_F(TServerTest, HasAdaptersOfBroadcomInTheirClassEachOnceAndThoseOfItsChassisElse) {
  const auto adapter = [&](const std::string& number, const std::string& vendor) {
    Serve("/f/" + number, R"({"VendorId":")" + vendor + R"(","DeviceId":"0x165F"})");
    Serve("/adapter/" + number,
          R"({"Name":"N)" + number + R"(","Manufacturer":"Maker","Controllers":[)" +
              R"({"FirmwarePackageVersion":"4","Links":{"PCIeFunctions":[)" + Link("/f/" + number) +
              R"(]}},{"FirmwarePackageVersion":"4"},{"FirmwarePackageVersion":""}]})");
    return Link("/adapter/" + number);
  };
  const TTexts adapters = {adapter("1", "0x14E4"), adapter("2", "0x14e5")};
  const TTexts told = {
      "QRXSG_BcmDeviceFirmwareElement Name=N1 SoftwareElementID=14e4165f Version=4",
      "SVC_FirmwareDevice Name=N2 Vendor=Maker Version=4 Identifiers=[PCI\\VEN_14E5&DEV_165F] "
      "Source=redfish"};
  ServeSystem(R"(,"NetworkInterfaces":{"@odata.id":"/net"},"Links":{"Chassis":[)" +
              Link("/chassis") + "]}");
  TTexts interfaces;
  for (const std::string& link : {adapters[0], adapters[1], adapters[0]}) {
    const std::string place = "/net/" + std::to_string(interfaces.size());
    Serve(place, R"({"Links":{"NetworkAdapter":)" + link + "}}");
    interfaces.push_back(Link(place));
  }
  Serve("/net", Collection(interfaces));
  EXPECT_EQ(Read(), told);
  EXPECT_EQ(Asked("/chassis"), TTexts{});
  ServeSystem(R"(,"Links":{"Chassis":[)" + Link("/chassis") + "]}");
  Serve("/chassis", R"({"NetworkAdapters":{"@odata.id":"/adapters"}})");
  Serve("/adapters", Collection(adapters));
  EXPECT_EQ(Read(), told);
  EXPECT_EQ(notes, TTexts{});
}

// Each kind of device three times: one that is there, one that is not, one that does not say.
TEST_F(TServerTest, HasNoDeviceThatIsAbsent) {
  const auto three = [](const std::string& texts) {
    return "[{" + texts + R"(,"Model":"A","Status":{"State":"Enabled"}},{)" + texts +
           R"(,"Model":"B","Status":{"State":"Absent"}},{)" + texts + R"(,"Model":"C"}])";
  };
  ServeSystem(R"(,"Storage":{"@odata.id":"/storage"},"NetworkInterfaces":{"@odata.id":"/net"},)"
              R"("TrustedModules":[{"FirmwareVersion":"5","InterfaceType":"A","Status":{"State":)"
              R"("Enabled"}},{"FirmwareVersion":"5","InterfaceType":"B","Status":{"State":)"
              R"("Absent"}},{"FirmwareVersion":"5","InterfaceType":"C"}])");
  Serve("/storage", Collection({Link("/storage/1")}));
  Serve("/storage/1", R"({"StorageControllers":)" + three(R"("FirmwareVersion":"1")") +
                          R"(,"Controllers":{"@odata.id":"/controllers"},"Drives":[)" +
                          Link("/d/1") + "," + Link("/d/2") + "," + Link("/d/3") + "]}");
  const TJson controllers = TJson::parse(three(R"("FirmwareVersion":"2")"));
  const TJson drives = TJson::parse(three(R"("Revision":"3")"));
  const TJson adapters =
      TJson::parse(three(R"("Controllers":[{"FirmwarePackageVersion":"4"},{},)"
                         R"({"FirmwarePackageVersion":"4"},{"FirmwarePackageVersion":"4b"}])"));
  TTexts interfaces, members;
  for (int i = 0; i < 3; ++i) {
    const std::string number = std::to_string(i + 1);
    members.push_back(Link("/controllers/" + number));
    interfaces.push_back(Link("/net/" + number));
    Serve("/controllers/" + number, controllers[i].dump());
    Serve("/d/" + number, drives[i].dump());
    Serve("/net/" + number, R"({"Links":{"NetworkAdapter":)" + Link("/adapter/" + number) + "}}");
    Serve("/adapter/" + number, adapters[i].dump());
  }
  Serve("/controllers", Collection(members));
  Serve("/net", Collection(interfaces));
  ServeFirmware({R"({"Name":"F1","Version":"6","Status":{"State":"Enabled"}})",
                 R"({"Name":"F2","Version":"6","Status":{"State":"Absent"}})",
                 R"({"Name":"F3","Version":"6"})"});
  const auto device = [](const std::string& name, const std::string& version,
                         const std::string& identifiers = "") {
    return "SVC_FirmwareDevice Name=" + name + " Version=" + version + identifiers +
           " Source=redfish";
  };
  EXPECT_EQ(
      Read(),
      (TTexts{device("A", "1"), device("C", "1"), device("A", "2"), device("C", "2"),
              device("A", "3", " Identifiers=[A]"), device("C", "3", " Identifiers=[C]"),
              device("A", "4"), device("A", "4b"), device("C", "4"), device("C", "4b"),
              device("TPM A", "5"), device("TPM C", "5"), device("F1", "6"), device("F3", "6")}));
  EXPECT_EQ(notes, TTexts{});
}

TEST_F(TServerTest, HasStorageControllersThatTellAVersionMegaRaidOnesInTheirClass) {
  ServeSystem(R"(,"Storage":{"@odata.id":"/storage"})");
  Serve("/storage", Collection({Link("/storage/1")}));
  Serve("/storage/1", R"({"StorageControllers":[{"Name":"MEGARAID 1","FirmwareVersion":"1"},)"
                      R"({"Name":"Arrayon","Model":"Big","FirmwareVersion":"2"},{"Model":"Old"},)"
                      R"({"Name":"Raid","Manufacturer":"Maker","FirmwareVersion":"3"}]})");
  EXPECT_EQ(
      Read(),
      (TTexts{"QRXSG_MegaLSIFWPackageBuildFirmwareElement Name=MEGARAID 1 Description=MEGARAID 1 "
              "Version=1",
              "QRXSG_MegaLSIFWPackageBuildFirmwareElement Name=Big Description=Big Version=2",
              "SVC_FirmwareDevice Name=Raid Vendor=Maker Version=3 Source=redfish"}));
}

TEST_F(TServerTest, HasThePciNumbersOfADeviceByEachWayThatLeadsToThem) {
  ServeSystem(R"(,"Storage":{"@odata.id":"/storage"})");
  Serve("/storage", Collection({Link("/storage/1")}));
  const auto controller = [](const std::string& name, const std::string& kind,
                             const std::string& links) {
    return R"({"Model":")" + name + R"(","FirmwareVersion":"1","Links":{")" + kind + "\":[" +
           links + "]}}";
  };
  Serve("/storage/1",
        R"({"StorageControllers":[)" + controller("A", "PCIeFunctions", Link("/f")) + "," +
            controller("B", "PCIeDevices", Link("/linked")) + "," +
            controller("C", "PCIeDevices", Link("/collected")) + "," +
            controller("D", "PCIeDevices", Link("/bare")) + "," +
            controller("E", "PCIeFunctions", Link("/unknown")) + "," +
            controller("F", "PCIeFunctions", Link("/unknown") + "," + Link("/f")) + "," +
            controller("G", "PCIeDevices", Link("/bare") + "," + Link("/linked")) + "," +
            controller("H", R"(PCIeFunctions":[)" + Link("/unknown") + R"(],"PCIeDevices)",
                       Link("/linked")) +
            "]}");
  Serve("/f", R"({"VendorId":"0x8086","DeviceId":"0x1572"})");
  Serve("/linked", R"({"Links":{"PCIeFunctions":[)" + Link("/f") + "]}}");
  Serve("/collected", R"({"PCIeFunctions":{"@odata.id":"/functions"}})");
  Serve("/functions", Collection({Link("/f")}));
  Serve("/bare", R"({"Name":"of no function"})");
  Serve("/unknown", R"({"VendorId":"0xffff","DeviceId":"0x1572"})");
  const auto told = [](const std::string& name, const std::string& identifiers) {
    return "SVC_FirmwareDevice Name=" + name + " Version=1" + identifiers + " Source=redfish";
  };
  const std::string known = " Identifiers=[PCI\\VEN_8086&DEV_1572]";
  EXPECT_EQ(Read(), (TTexts{told("A", known), told("B", known), told("C", known), told("D", ""),
                            told("E", ""), told("F", known), told("G", known), told("H", known)}));
  EXPECT_EQ(notes, TTexts{});
}

// What a resource has said is not said again by the firmware inventory.
TEST_F(TServerTest, HasTheFirmwareOfItsDevicesOnce) {
  ServeSystem(R"(,"Storage":{"@odata.id":"/storage"},"NetworkInterfaces":{"@odata.id":"/net"})");
  Serve("/storage", Collection({Link("/storage/1")}));
  Serve("/storage/1", R"({"StorageControllers":[{"@odata.id":"/storage/1#/0","Name":"Raid",)"
                      R"("FirmwareVersion":"3"}],"Drives":[)" +
                          Link("/drive") + "]}");
  Serve("/drive", R"({"Name":"Drive","FirmwareVersion":"4","Revision":"9"})");
  Serve("/net", Collection({Link("/net/1")}));
  Serve("/net/1", R"({"Links":{"NetworkAdapter":)" + Link("/adapter") + "}}");
  Serve("/adapter", R"({"Name":"Adapter","Controllers":[{"FirmwarePackageVersion":"5"}]})");
  const auto item = [](const std::string& name, const std::string& version,
                       const std::string& place) {
    return R"({"Name":")" + name + R"(","Version":")" + version + R"(","RelatedItem":[)" +
           Link(place) + "]}";
  };
  ServeFirmware({item("a", "3", "/storage/1#/0"), item("b", "4", "/drive"),
                 item("c", "5", "/adapter"), item("d", "5", "/drive")});
  const auto device = [](const std::string& name, const std::string& version) {
    return "SVC_FirmwareDevice Name=" + name + " Version=" + version + " Source=redfish";
  };
  EXPECT_EQ(Read(), (TTexts{device("Raid", "3"), device("Drive", "4"), device("Adapter", "5"),
                            device("d", "5")}));
  EXPECT_EQ(notes, TTexts{});
}

// Of the functions of a device the places are enough, also where members may be had at once.
TEST_F(TServerTest, IsAskedForTheFirstFunctionOfADeviceAlone) {
  ServeRoot(R"(,"ProtocolFeaturesSupported":{"ExpandQuery":{"NoLinks":true}})");
  for (const char* empty : {"/firmware", "/managers"})
    Serve(std::string(empty) + "?$expand=.", Collection({}));
  ServeSystem(R"(,"Storage":{"@odata.id":"/storage"})");
  Serve("/storage?$expand=.",
        Collection({R"({"StorageControllers":[{"Model":"A","FirmwareVersion":"1","Links":)"
                    R"({"PCIeDevices":[{"@odata.id":"/device"}]}}]})"}));
  Serve("/device", R"({"PCIeFunctions":{"@odata.id":"/functions"}})");
  Serve("/functions", Collection({Link("/f/1"), Link("/f/2")}));
  Serve("/f/1", R"({"VendorId":"0x8086","DeviceId":"0x1572"})");
  EXPECT_EQ(Read(), TTexts{"SVC_FirmwareDevice Name=A Version=1 "
                           "Identifiers=[PCI\\VEN_8086&DEV_1572] Source=redfish"});
  EXPECT_EQ(Asked("/functions"), TTexts{"/functions"});
  EXPECT_EQ(Asked("/f/"), TTexts{"/f/1"});
  EXPECT_EQ(notes, TTexts{});
}

}  // namespace
}  // namespace svc::collect
