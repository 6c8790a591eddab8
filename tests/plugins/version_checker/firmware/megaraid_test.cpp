#include "tests/plugins/version_checker/firmware/firmware_fixture.h"
#include "tests/support/case_name.h"

namespace svc::test {
namespace {

constexpr const char* kClass = "QRXSG_MegaLSIFWPackageBuildFirmwareElement";

class TMegaRAID : public TFirmwareTest {
 protected:
  void InstallController(const std::string& description, const std::string& version) {
    Install(kClass, {{"Description", description}, {"Version", version}});
  }
  static TFakeProperties Update(const std::string& driverFiles) {
    return {{"description", "QRX Arrayon AX20i SAS Controller Firmware"},
            {"driverFiles", driverFiles}};
  }
  // Up to the comparison of the controllers.
  static TWalkLog Beginning(const std::string& description, const std::string& installed,
                            const std::string& driverFiles, const std::string& offered) {
    TWalkLog log;
    log.BIOSTests(Update(driverFiles)).ChainTests(Update(driverFiles));
    log.Trace("starting LSI MR firmware comparison...")
        .ReadClass(1)
        .Progress(description)
        .Progress(installed)
        .Read()
        .Progress("driverFiles ==")
        .Progress(driverFiles)
        .Progress(offered);
    return log;
  }
};

TEST_F(TMegaRAID, SameControllerIsDelivered) {
  const std::string description = "QRX Arrayon-AX20i SAS/SATA";
  const std::string files = "QRX Arrayon AX 20i SAS Controller Firmware.exe-#11.0.1 other-#2";
  InstallController(description, "10.0");
  CompareOne(Update(files));
  EXPECT_EQ(
      host.Records(),
      TRecords({{"Firmware", "QRX Arrayon AX 20i SAS Controller Firmware.exe", "10.0", "11.0.1"}}));
  TWalkLog log = Beginning(description, "20i", files, "20i");
  log.Read().Trace("Matching MR controller:").Trace("20i").Trace("11.0.1").ReadClass(1).Delivery();
  EXPECT_EQ(host.logger.Entries(), log.Report());
}

TEST_F(TMegaRAID, OtherControllerIsNotDelivered) {
  const std::string description = "QRX Arrayon-AX20M SAS";
  const std::string files = "QRX Arrayon AX 20i SAS Controller-#11.0.1";
  InstallController(description, "10.0");
  CompareOne(Update(files));
  EXPECT_TRUE(host.Records().empty());
  TWalkLog log = Beginning(description, "20m", files, "20i");
  log.Trace("Not getting same MR controller.");
  EXPECT_EQ(host.logger.Entries(), log.Report());
}

TEST_F(TMegaRAID, VersionStandsBehindTheWordController) {
  InstallController("none", "10.0");
  CompareOne(Update("a-#1 Controller.bin-#2 x"));
  // Of "a-#1 controller..." fourteen characters are cut, which leaves "r.bin-#2 x".
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.UpTo(3)[4], (TLogEntry{3, "r.bin-#2"}));
}

TEST_F(TMegaRAID, ControllerWithoutAVersionOffersNothing) {
  const std::string files = "-#1 qrx arrayon ax 20i Controller";
  InstallController("QRX Arrayon-AX20i ", "10.0");
  CompareOne(Update(files));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "", "10.0", ""}}));
  TWalkLog log = Beginning("QRX Arrayon-AX20i ", "20i", files, "20i");
  log.Read().Trace("Matching MR controller:").Trace("20i").Trace("").ReadClass(1).Delivery();
  EXPECT_EQ(host.logger.Entries(), log.Report());
}

TEST_F(TMegaRAID, WordControllerIsSearchedByCase) {
  InstallController("QRX Arrayon-AX20i ", "10.0");
  CompareOne(Update("QRX ARRAYON AX 20i controller-#11"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "QRX ARRAYON AX 20i controller", "10.0", "10.0"}}));
}

TEST_F(TMegaRAID, WithoutFamiliesTheEmptyControllersAreTheSame) {
  const std::string files = "short-#1";
  InstallController("Some other card", "10.0");
  CompareOne(Update(files));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "short", "10.0", "10.0"}}));
  TWalkLog log = Beginning("Some other card", "", files, "");
  log.Read().Trace("Matching MR controller:").Trace("").ReadClass(1).Delivery();
  EXPECT_EQ(host.logger.Entries(), log.Report());
}

TEST_F(TMegaRAID, ListWithoutAMarkHasNoControllerAndIsTheNameWhole) {
  InstallController("", "10.0");
  CompareOne(Update("QRX Arrayon AX 20i SAS"));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "QRX Arrayon AX 20i SAS", "10.0", "10.0"}}));
}

struct TController {
  const char* name;
  const char* text;
  const char* controller;
};
void PrintTo(const TController& controller, std::ostream* stream) { *stream << controller.text; }

class TInstalledController : public TMegaRAID, public testing::WithParamInterface<TController> {};

TEST_P(TInstalledController, IsTheWordBehindTheFamily) {
  InstallController(GetParam().text, "1");
  CompareOne(Update("x"));
  EXPECT_EQ(host.logger.UpTo(3)[0], (TLogEntry{3, GetParam().text}));
  EXPECT_EQ(host.logger.UpTo(3)[1], (TLogEntry{3, GetParam().controller}));
}

constexpr TController kInstalled[] = {
    {"InAnyCase", "the qrx ARRAYON-ax20IS card", "20is"},
    {"NothingBehindIt", "QRX Arrayon-AX20i", ""},
    {"BlankRightBehindIt", "QRX Arrayon-AX 20i x", ""},
    {"BlankOnlyBeforeIt", "a QRX Arrayon-AX20i", ""},
    {"NoHyphen", "QRX Arrayon AX20i x", ""},
    {"Empty", "", ""},
};
INSTANTIATE_TEST_SUITE_P(Descriptions, TInstalledController, testing::ValuesIn(kInstalled),
                         TCaseName());

class TOfferedController : public TMegaRAID, public testing::WithParamInterface<TController> {};

TEST_P(TOfferedController, IsTheWordOneCharacterBehindTheFamily) {
  InstallController("", "1");
  CompareOne(Update(GetParam().text));
  EXPECT_EQ(host.logger.UpTo(3)[4], (TLogEntry{3, GetParam().controller}));
}

constexpr TController kOffered[] = {
    {"WithABlankInBetween", "QRX Arrayon AX 20i x-#1", "20i"},
    {"WithoutABlankLosesACharacter", "QRX Arrayon AX20i x-#1", "0i"},
    {"InAnyCase", "qrx ARRAYON ax-20IS x-#1", "20is"},
    {"BehindTheMark", "a-#1 QRX Arrayon AX 20M x", "20m"},
    {"NothingBehindIt", "-#1 QRX Arrayon AX", ""},
    {"NoBlankBehindIt", "-#1 QRX Arrayon AX 20i", ""},
    {"NoMark", "QRX Arrayon AX 20i x", ""},
    {"NoFamilyCutsItsLength", "abcdefghijklmn20i x-#1", "20i"},
    {"NoFamilyAndNothingLeft", "abc-#1 x", ""},
    {"Empty", "", ""},
};
INSTANTIATE_TEST_SUITE_P(Lists, TOfferedController, testing::ValuesIn(kOffered), TCaseName());

TEST_F(TMegaRAID, DescriptionAndVersionAreThoseOfTheLastInstance) {
  InstallController("QRX Arrayon-AX20M x", "9");
  InstallController("QRX Arrayon-AX20i x", "10");
  CompareOne(Update("QRX Arrayon AX 20i Controller-#11"));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "QRX Arrayon AX 20i Controller", "10", "11"}}));
}

}  // namespace
}  // namespace svc::test
