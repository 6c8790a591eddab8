#include "tests/plugins/version_checker/firmware/firmware_fixture.h"
#include "tests/support/case_name.h"

using namespace svc::checker;

namespace svc::test {
namespace {

constexpr const char* kFirmware = "QRXSG_LSIFirmwareElement";
constexpr const char* kBIOS = "QRXSG_LSIBIOSElement";

TFakeProperties Controller(const std::string& product, const std::string& version,
                           const std::string& name) {
  return {{"ProductID", product}, {"Version", version}, {"Name", name}};
}

class TIntegratedRAID : public TFirmwareTest {
 protected:
  static TFakeProperties Update(const std::string& driverFiles) {
    return {{"description", "LSI 1064 firmware"}, {"driverFiles", driverFiles}};
  }
  static TWalkLog Tests(const std::string& driverFiles) {
    TWalkLog log;
    log.BIOSTests(Update(driverFiles)).ChainTests(Update(driverFiles));
    return log;
  }
  static void AddDelivery(TWalkLog& log, const std::string& installed, const std::string& offered) {
    log.Progress("Writing instance:").Progress(installed).Progress(offered).Delivery();
  }
};

TEST_F(TIntegratedRAID, FirmwareThenBIOS) {
  Install(kFirmware, Controller("SAS1064E-IR", "1.1", "LSI FW"));
  Install(kBIOS, Controller("LSI SAS1064E rev 2", "6.1", "LSI BIOS"));
  const std::string files = "sas1064e-ir.rom-#1.30 MPTSAS-1064E.ROM-#6.22";
  CompareOne(Update(files));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "LSI FW", "1.1", "1.30"},
                                      {"Firmware", "LSI BIOS", "6.1", "6.22"}}));
  TWalkLog log = Tests(files);
  log.ReadClass(1)
      .Progress("Matching LSI IR...")
      .Progress("sas1064e-ir")
      .Read()
      .Progress("driverFiles ==")
      .Progress(files)
      .Progress("1.30")
      .List()
      .Read()
      .Read()
      .Progress("Matching LSI IR firmware.");
  AddDelivery(log, "1.1", "1.30");
  log.ReadClass(1)
      .Progress("lsi sas1064e rev 2")
      .Read()
      .Progress("driverFiles ==")
      .Progress("sas1064e-ir.rom-#1.30 mptsas-1064e.rom-#6.22")
      .List()
      .Read()
      .Read();
  AddDelivery(log, "6.1", "6.22");
  EXPECT_EQ(host.logger.Entries(), log.Report({kRWA}));
}

TEST_F(TIntegratedRAID, UnknownProductOffersWhatIsInstalled) {
  Install(kFirmware, Controller("1068", "1.1", "A"));
  Install(kFirmware, Controller("1068", "1.2", "B"));
  CompareOne(Update("sas1064.rom-#1.30"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "A", "1.1", "1.1"}, {"Firmware", "B", "1.2", "1.2"}}));
  TWalkLog log = Tests("sas1064.rom-#1.30");
  log.ReadClass(2)
      .Progress("Matching LSI IR...")
      .Progress("1068")
      .Read()
      .Progress("driverFiles ==")
      .Progress("sas1064.rom-#1.30")
      .Progress("Use current version.")
      .List();
  for (const char* version : {"1.1", "1.2"}) {
    log.Read().Read().Progress("Matching LSI IR firmware.");
    AddDelivery(log, version, version);
  }
  log.ReadClass(0).Progress("").Read();
  log.Progress("driverFiles ==").Progress("sas1064.rom-#1.30").ListMissing();
  EXPECT_EQ(host.logger.Entries(), log.Report({kRWA}));
}

TEST_F(TIntegratedRAID, InstanceWithoutAVersionIsSkipped) {
  Install(kFirmware, Controller("1064", "", "A"));
  Install(kBIOS, Controller("1064", "", "B"));
  CompareOne(Update("1064-#1"));
  EXPECT_TRUE(host.Records().empty());
  const TLog found = host.logger.UpTo(3);
  EXPECT_EQ(std::count(found.begin(), found.end(), TLogEntry{3, "Matching LSI IR firmware."}), 1);
  EXPECT_EQ(std::count(found.begin(), found.end(), TLogEntry{3, "Writing instance:"}), 0);
  EXPECT_EQ(
      std::count(found.begin(), found.end(), TLogEntry{3, "No firmware update found for RWA."}), 1);
}

TEST_F(TIntegratedRAID, ListWithoutABlankIsErasedForTheBIOS) {
  Install(kBIOS, Controller("SAS1064E x", "6.1", "BIOS"));
  CompareOne(Update("1064e-#1.30"));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "BIOS", "6.1", "6.1"}}));
}

TEST_F(TIntegratedRAID, FirstFileIsLeftOutForTheBIOS) {
  Install(kBIOS, Controller("SAS1064E x", "6.1", "BIOS"));
  CompareOne(Update("1064e-#1.30 other-#2"));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "BIOS", "6.1", "6.1"}}));
}

// The key is found, no version follows it: what the firmware part found stays.
TEST_F(TIntegratedRAID, VersionOfTheFirmwareSurvivesIntoTheBIOS) {
  Install(kFirmware, Controller("fw", "1", "FW"));
  Install(kBIOS, Controller("SAS1064E x", "6.1", "BIOS"));
  CompareOne(Update("fw-#1.30 1064e.rom"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "FW", "1", "1.30"}, {"Firmware", "BIOS", "6.1", "1.30"}}));
}

TEST_F(TIntegratedRAID, EmptyVersionDoesNotSurvive) {
  Install(kFirmware, Controller("fw", "1", "FW"));
  Install(kBIOS, Controller("SAS1064E x", "6.1", "BIOS"));
  CompareOne(Update("fw-#1.30 1064e.rom-# z"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "FW", "1", "1.30"}, {"Firmware", "BIOS", "6.1", ""}}));
}

TEST_F(TIntegratedRAID, UseOfTheInstalledVersionDoesNotSurvive) {
  Install(kFirmware, Controller("unknown", "1", "FW"));
  Install(kBIOS, Controller("SAS1064E x", "6.1", "BIOS"));
  CompareOne(Update("a-#1.30 1064e-#6.22"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "FW", "1", "1"}, {"Firmware", "BIOS", "6.1", "6.22"}}));
}

TEST_F(TIntegratedRAID, VersionDoesNotSurviveIntoTheNextElement) {
  Install(kBIOS, Controller("SAS1064E x", "6.1", "BIOS"));
  Compare(TInstanceList{Element(Update("a-#1 1064e-#6.22")), Element(Update("a 1064e"))});
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "BIOS", "6.1", "6.22"}, {"Firmware", "BIOS", "6.1", ""}}));
}

TEST_F(TIntegratedRAID, RecordCountsAsRWAAndNeverAsLSI) {
  Install(kFirmware, Controller("fw", "1", "FW"));
  CompareOne(Update("fw-#2"));
  const TLog report = TWalkLog().Report({kRWA}).Entries();
  const TLog all = host.logger.Entries();
  EXPECT_EQ(TLog(all.end() - static_cast<std::ptrdiff_t>(report.size()), all.end()), report);
}

struct TProduct {
  const char* name;
  const char* product;
  const char* driverFiles;
  const char* offered;
};
void PrintTo(const TProduct& product, std::ostream* stream) {
  *stream << product.product << " in " << product.driverFiles;
}

class TBIOSProduct : public TIntegratedRAID, public testing::WithParamInterface<TProduct> {};

TEST_P(TBIOSProduct, IsTheWordBehindSAS) {
  Install(kBIOS, Controller(GetParam().product, "installed", "BIOS"));
  CompareOne(Update(GetParam().driverFiles));
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "BIOS", "installed", GetParam().offered}}));
}

// An empty key is found at once, so the version of the second file is taken.
constexpr TProduct kProducts[] = {
    {"Plain", "LSI SAS1064E r", "a-#1 b-#2 1064e-#3", "3"},
    {"InAnyCase", "lsi Sas1064e r", "A-#1 B-#2 1064E-#3", "3"},
    {"FirstMarkCounts", "SAS1064 SAS1078 r", "a-#1 b-#2 1064-#3 1078-#4", "3"},
    {"NoBlankBehindIt", "LSI SAS1064E", "a-#1 b-#2 1064e-#3", "2"},
    {"NoMark", "LSI 1064E r", "a-#1 b-#2 1064e-#3", "2"},
    {"BlankRightBehindTheMark", "SAS 1064E r", "a-#1 b-#2 1064e-#3", "2"},
    {"Empty", "", "a-#1 b-#2", "2"},
    {"EmptyAndNothingLeft", "", "a-#1", "1"},
};
INSTANTIATE_TEST_SUITE_P(Products, TBIOSProduct, testing::ValuesIn(kProducts), TCaseName());

}  // namespace
}  // namespace svc::test
