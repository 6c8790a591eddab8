#include "tests/plugins/version_checker/firmware/firmware_fixture.h"

using namespace svc::checker;

namespace svc::test {
namespace {

constexpr const char* kClass = "QRXSG_BcmDeviceFirmwareElement";

class TBroadcom : public TFirmwareTest {
 protected:
  void InstallDevice(const std::string& identifier, const std::string& version) {
    Install(kClass, {{"SoftwareElementID", identifier}, {"Version", version}});
  }
  static TFakeProperties Update(const std::string& driverFiles) {
    return {{"description", "Broadcom NetXtreme and NetXtreme II Firmware Update"},
            {"driverFiles", driverFiles}};
  }
  // Up to the walk over the devices.
  static TWalkLog Beginning(const std::string& driverFiles, std::size_t devices,
                            const std::string& identifier) {
    TWalkLog log;
    log.BIOSTests(Update(driverFiles)).ChainTests(Update(driverFiles));
    log.Trace("starting Brdcom firmware...")
        .Read()
        .ReadClass(devices)
        .Trace(identifier)
        .Trace(driverFiles)
        .Trace("before getting into container 2nd")
        .List()
        .Trace("after getting into container 2nd");
    return log;
  }
  static void AddDelivery(TWalkLog& log, const std::string& name, const std::string& installed,
                          const std::string& offered) {
    log.Read().Delivery().Progress("Writing instance:");
    log.Progress(name).Progress(installed).Progress(offered);
  }
};

TEST_F(TBroadcom, VersionFollowsTheIdentifierOfTheLastDevice) {
  InstallDevice("none", "3.0");
  InstallDevice("BCM5708", "3.1");
  const std::string files = "bcm5709.bin-#9.9 bcm5708.bin-#4.0.3 x";
  CompareOne(Update(files));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "Broadcom NetXtreme Network Device  0", "3.0", "4.0.3"},
                      {"Firmware", "Broadcom NetXtreme Network Device  1", "3.1", "4.0.3"}}));
  TWalkLog log = Beginning(files, 2, "bcm5708");
  AddDelivery(log, "Broadcom NetXtreme Network Device  0", "3.0", "4.0.3");
  AddDelivery(log, "Broadcom NetXtreme Network Device  1", "3.1", "4.0.3");
  EXPECT_EQ(host.logger.Entries(), log.Report({kBroadcom}));
}

TEST_F(TBroadcom, DeviceWithManagementFirmwareIsSkippedAndNotCounted) {
  InstallDevice("bcm", "1 ASFIPMI 6");
  InstallDevice("bcm", "2.0");
  CompareOne(Update("bcm-#3"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "Broadcom NetXtreme Network Device  0", "2.0", "3"}}));
  TWalkLog log = Beginning("bcm-#3", 2, "bcm");
  log.Read();
  AddDelivery(log, "Broadcom NetXtreme Network Device  0", "2.0", "3");
  EXPECT_EQ(host.logger.Entries(), log.Report({kBroadcom}));
}

TEST_F(TBroadcom, ManagementFirmwareIsNamedInCapitals) {
  InstallDevice("bcm", "asfipmi");
  CompareOne(Update("bcm-#3"));
  EXPECT_EQ(host.Records().size(), 1U);
}

TEST_F(TBroadcom, IdentifierInCapitalsInTheListIsNotFound) {
  InstallDevice("BCM5708", "3.1");
  InstallDevice("BCM5708", "3.2");
  CompareOne(Update("BCM5708.BIN-#4.0.3"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "Broadcom NetXtreme Network Device  0", "3.1", "3.1"},
                      {"Firmware", "Broadcom NetXtreme Network Device  1", "3.2", "3.2"}}));
}

TEST_F(TBroadcom, NoVersionBehindTheIdentifierOffersNothing) {
  InstallDevice("bcm", "3.1");
  CompareOne(Update("a-#1 bcm.bin"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "Broadcom NetXtreme Network Device  0", "3.1", ""}}));
}

TEST_F(TBroadcom, EmptyIdentifierIsFoundAtOnce) {
  InstallDevice("", "3.1");
  CompareOne(Update("a-#1 b-#2"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "Broadcom NetXtreme Network Device  0", "3.1", "1"}}));
}

TEST_F(TBroadcom, EmptyVersionIsDelivered) {
  InstallDevice("bcm", "");
  CompareOne(Update("bcm-#3"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "Broadcom NetXtreme Network Device  0", "", "3"}}));
}

TEST_F(TBroadcom, NamesAreCountedAnewForEachElement) {
  InstallDevice("bcm", "1");
  Compare(TInstanceList{Element(Update("bcm-#3")), Element(Update("bcm-#4"))});
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "Broadcom NetXtreme Network Device  0", "1", "3"},
                      {"Firmware", "Broadcom NetXtreme Network Device  0", "1", "4"}}));
}

TEST_F(TBroadcom, WithoutDevicesItCountsAsFound) {
  host.inventory->Class(kClass);
  CompareOne(Update("bcm-#3"));
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(), Beginning("bcm-#3", 0, "").Report({kBroadcom}));
}

}  // namespace
}  // namespace svc::test
