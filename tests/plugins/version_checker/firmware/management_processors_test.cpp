#include "tests/plugins/version_checker/firmware/firmware_fixture.h"
#include "tests/support/case_name.h"

namespace svc::test {
namespace {

constexpr const char* kSPROM = "QRXSG_SPROMFirmwareVPDMain";
constexpr const char* kIPMI = "QRXSG_IPMIFirmwareElement";

TFakeProperties Processor(const std::string& build, const std::string& name,
                          const std::string& version) {
  return {{"BuildNumber", build}, {"Name", name}, {"Version", version}};
}

struct TAdapter {
  const char* name;
  const char* property;
  const char* text;
  EReported component;
};
void PrintTo(const TAdapter& adapter, std::ostream* stream) { *stream << adapter.text; }

class TRemoteWatchAdapter : public TFirmwareTest, public testing::WithParamInterface<TAdapter> {
 protected:
  TFakeProperties Update() const {
    return {{GetParam().property, GetParam().text}, {"Version", "2.0-[YUOO99A]-"}};
  }
  TWalkLog Tests() const {
    TWalkLog log;
    log.BIOSTests(Update()).ChainTests(Update());
    return log;
  }
};

TEST_P(TRemoteWatchAdapter, BothTextsBeginWithTheVersionOfTheLastInstance) {
  Install(kSPROM, Processor("B1", "First", "1.0"));
  Install(kSPROM, Processor("B2", "Second", "2.0"));
  CompareOne(Update());
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "First", "2.0 (B1) ", "2.0 (YUOO99A) "},
                                      {"Firmware", "Second", "2.0 (B2) ", "2.0 (YUOO99A) "}}));
  TWalkLog log = Tests();
  log.Read().List();
  for (int i = 0; i < 2; ++i) log.Read().Read().ReadClass(2).Delivery();
  EXPECT_EQ(host.logger.Entries(), log.Report({GetParam().component}));
}

TEST_P(TRemoteWatchAdapter, InstanceWithoutABuildIsSkipped) {
  Install(kSPROM, Processor("", "First", "1.0"));
  Install(kSPROM, Processor("B2", "Second", "2.0"));
  CompareOne(Update());
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "Second", "2.0 (B2) ", "2.0 (YUOO99A) "}}));
}

TEST_P(TRemoteWatchAdapter, WithoutAnyBuildNothingIsFound) {
  Install(kSPROM, Processor("", "First", "1.0"));
  CompareOne(Update());
  EXPECT_TRUE(host.Records().empty());
  TWalkLog log = Tests();
  log.Read().List().Read().Read();
  EXPECT_EQ(host.logger.Entries(), log.Report());
}

constexpr TAdapter kAdapters[] = {
    {"SecondByDirectory", "installDirectory", "/PKGS/RWA2", kRWA2},
    {"SecondByDescription", "description", "Remote Watch Adapter II", kRWA2},
    {"FirstByDirectory", "installDirectory", "/PKGS/REMOTWAT", kRWA},
    {"FirstByDescription", "description", "Remote Watch Adapter", kRWA},
};
INSTANTIATE_TEST_SUITE_P(Generations, TRemoteWatchAdapter, testing::ValuesIn(kAdapters),
                         TCaseName());

struct TFamily {
  const char* name;
  const char* installed;
  const char* offered;
  bool delivered;
};
void PrintTo(const TFamily& family, std::ostream* stream) {
  *stream << family.installed << " against " << family.offered;
}

class TControlProcessor : public TFirmwareTest, public testing::WithParamInterface<TFamily> {};

TEST_P(TControlProcessor, FirstFourCharactersMustBeEqual) {
  const TFakeProperties element = {{"description", "Integrated System Control Processor"},
                                   {"Version", GetParam().offered}};
  Install(kSPROM, Processor(GetParam().installed, "ISCP", "1"));
  CompareOne(element);
  TWalkLog log;
  log.BIOSTests(element).ChainTests(element);
  log.ReadClass(1).Read().ReadClass(1);
  TRecords records;
  std::set<std::size_t> found;
  if (GetParam().delivered) {
    records = {{"Firmware", "ISCP", GetParam().installed, GetParam().offered}};
    found = {kISCP};
    log.Delivery();
  }
  EXPECT_EQ(host.Records(), records);
  EXPECT_EQ(host.logger.Entries(), log.Report(found));
}

constexpr TFamily kFamilies[] = {
    {"Same", "KVET12A", "KVET15B", true},       {"Different", "KVET12A", "KWET15B", false},
    {"OtherCase", "kvet12A", "KVET15B", false}, {"ShorterInstalled", "1.2", "1.23", false},
    {"LongerInstalled", "1.23A", "1.23", true}, {"BothShortAndEqual", "1.2", "1.2", true},
    {"NothingInstalled", "", "", false},        {"NothingOffered", "KVET", "", false},
};
INSTANTIATE_TEST_SUITE_P(Families, TControlProcessor, testing::ValuesIn(kFamilies), TCaseName());

using TManagement = TFirmwareTest;

TEST_F(TManagement, ControlProcessorIsTheLastInstance) {
  Install(kSPROM, Processor("KVET11", "First", "1"));
  Install(kSPROM, Processor("KVET12", "Second", "2"));
  CompareOne(TFakeProperties{{"description", "integrated system control processor"},
                             {"Version", "-[KVET13]-"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "Second", "KVET12", "KVET13"}}));
}

TEST_F(TManagement, ChainDecidesBeforeTheGroupOfBMCAndH8) {
  Install(kSPROM, Processor("KVET12", "QRX Integrated Systems Control Processor", "2"));
  CompareOne(TFakeProperties{{"category", "BMC/H8"},
                             {"description", "Integrated System Control Processor"},
                             {"Version", "KVET13"}});
  EXPECT_EQ(host.logger.UpTo(3), TWalkLog().Report({kISCP}).Entries());
}

class TGroup : public TFirmwareTest {
 protected:
  static TFakeProperties Update(const std::string& description) {
    return {{"category", "BMC/H8"}, {"description", description}, {"Version", "-[K1]-"}};
  }
  // The log of an element up to the tests of its description, so many of which are made.
  static TWalkLog Tests(const std::string& description, int descriptionTests) {
    TWalkLog log;
    log.BIOSTests(Update(description)).ChainTests(Update(description)).Read();
    for (int i = 0; i < descriptionTests; ++i) log.Test();
    return log;
  }
};

TEST_F(TGroup, H8IsTheControlProcessorOfThatName) {
  Install(kSPROM, Processor("B1", "QRX Integrated Systems Control Processor 2", "1"));
  CompareOne(Update("integrated system control"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "QRX Integrated Systems Control Processor 2", "B1", "K1"}}));
  TWalkLog log = Tests("integrated system control", 1);
  log.ReadClass(1).ReadClass(1).Delivery();
  EXPECT_EQ(host.logger.Entries(), log.Report({kH8}));
}

TEST_F(TGroup, H8OfAnotherNameIsNotDelivered) {
  Install(kSPROM, Processor("B1", "qrx integrated systems control processor", "1"));
  CompareOne(Update("Integrated System Control"));
  EXPECT_TRUE(host.Records().empty());
  TWalkLog log = Tests("Integrated System Control", 1);
  log.ReadClass(1).ReadClass(1);
  EXPECT_EQ(host.logger.Entries(), log.Report());
}

TEST_F(TGroup, NameOfTheH8MayStandAnywhere) {
  Install(kSPROM, Processor("B1", "2nd QRX Integrated Systems Control Processor", "1"));
  CompareOne(Update("Integrated System Control"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "2nd QRX Integrated Systems Control Processor", "B1", "K1"}}));
}

TEST_F(TGroup, H8WithoutABuildIsNotDelivered) {
  Install(kSPROM, Processor("", "QRX Integrated Systems Control Processor", "1"));
  CompareOne(Update("Integrated System Control"));
  EXPECT_TRUE(host.Records().empty());
}

TEST_F(TGroup, H8ForestallsTheBMC) {
  Install(kSPROM, Processor("B1", "QRX Integrated Systems Control Processor", "1"));
  Install(kIPMI, {{"Version", "3"}, {"Name", "BMC"}});
  CompareOne(Update("Integrated System Control and Baseboard Management Controller"));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "QRX Integrated Systems Control Processor", "B1", "K1"}}));
}

TEST_F(TGroup, UnknownDescriptionYieldsNothing) {
  Install(kIPMI, {{"Version", "3"}, {"Name", "BMC"}});
  CompareOne(Update("Fan controller"));
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(), Tests("Fan controller", 4).Report());
}

struct TBMC {
  const char* name;
  const char* description;
  int tests;
};
void PrintTo(const TBMC& bmc, std::ostream* stream) { *stream << bmc.description; }

class TBMCGroup : public TGroup, public testing::WithParamInterface<TBMC> {};

TEST_P(TBMCGroup, EachInstanceWithAVersionIsDelivered) {
  Install(kIPMI, {{"Version", "3"}, {"Name", "BMC"}});
  Install(kIPMI, {{"Version", ""}, {"Name", "nothing"}});
  Install(kIPMI, {{"Version", "4"}, {"Name", "mBMC"}});
  CompareOne(Update(GetParam().description));
  EXPECT_EQ(host.Records(),
            TRecords({{"Firmware", "BMC", "3", "K1"}, {"Firmware", "mBMC", "4", "K1"}}));
  TWalkLog log = Tests(GetParam().description, GetParam().tests);
  log.List();
  log.Read().Read().Delivery().Read().Read().Read().Read().Delivery();
  EXPECT_EQ(host.logger.Entries(), log.Report({kBMC}));
}

TEST_P(TBMCGroup, WithoutAVersionNothingIsFound) {
  Install(kIPMI, {{"Version", ""}, {"Name", "nothing"}});
  CompareOne(Update(GetParam().description));
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.UpTo(3), TWalkLog().Report().Entries());
}

constexpr TBMC kBMCs[] = {
    {"Baseboard", "baseboard management controller", 2},
    {"Mini", "mBMC Firmware Update", 3},
    {"Module", "Integrated Control Module", 4},
};
INSTANTIATE_TEST_SUITE_P(Descriptions, TBMCGroup, testing::ValuesIn(kBMCs), TCaseName());

}  // namespace
}  // namespace svc::test
