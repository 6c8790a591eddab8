#include "tests/plugins/version_checker/firmware/firmware_fixture.h"
#include "tests/support/case_name.h"

using namespace svc::checker;

namespace svc::test {
namespace {

class TSystemFirmware : public TFirmwareTest {
 protected:
  void InstallDiagnostics() {
    Install("QRXSG_DiagnosticVPD", {{"BuildNumber", "B1"}, {"Version", "V1"}});
  }
};

TEST_F(TSystemFirmware, BIOSVersionsAreThoseOfTheLastInstanceAndBetweenTheMarks) {
  Install("QRXSG_SystemBIOSElement", {{"Version", "old"}});
  Install("QRXSG_SystemBIOSElement", {{"Version", "1.05"}});
  const TFakeProperties element = {{"category", "BIOS"}, {"Version", "1.10-[QKL120A]-"}};
  CompareOne(element);
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "1.05", "QKL120A"}}));
  TWalkLog log;
  log.BIOSTests(element).Progress("SV got bios from metadata").Read().ReadClass(2).Delivery();
  log.ChainTests(element).Report({kSystemBIOS});
  EXPECT_EQ(host.logger.Entries(), log);
}

TEST_F(TSystemFirmware, InstalledVersionKeepsItsMarks) {
  Install("QRXSG_SystemBIOSElement", {{"Version", "-[1.05]-"}});
  CompareOne({{"category", "BIOS"}, {"Version", "2"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "-[1.05]-", "2"}}));
}

TEST_F(TSystemFirmware, UEFIIsReadFromTheBIOSElement) {
  Install("QRXSG_SystemBIOSElement", {{"Version", "1.05"}});
  const TFakeProperties element = {{"category", "uefi"}, {"Version", "-[P2]-"}};
  CompareOne(element);
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System UEFI", "1.05", "P2"}}));
  TWalkLog log;
  log.BIOSTests(element).ChainTests(element);
  log.Progress("SV got uEFI from metadata").Read().ReadClass(1).Delivery();
  log.Report({kSystemBIOS});
  EXPECT_EQ(host.logger.Entries(), log);
}

TEST_F(TSystemFirmware, RecordIsDeliveredWithoutVersions) {
  CompareOne({{"category", "BIOS"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "", ""}}));
}

TEST_F(TSystemFirmware, DiagnosticsTextsStandInOppositeOrders) {
  InstallDiagnostics();
  const TFakeProperties element = {
      {"description", "Diagnostic"}, {"Version", "1.10-[fdcp-1.10x]-"}, {"BuildNumber", "x-[B2]-"}};
  Compare(TInstanceList{Element(element)}, "8888");
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "Diagnostics", "B1 - V1", "fdcp-1.10x - B2"}}));
  TWalkLog log;
  log.BIOSTests(element).ChainTests(element);
  log.Read()
      .ReadClass(1)
      .Error("Starting Diagnostics comparison")
      .Error("fdcp-1.10x")
      .Read()
      .ReadClass(1)
      .Delivery();
  log.Report({kDiagnostics});
  EXPECT_EQ(host.logger.Entries(), log);
}

TEST_F(TSystemFirmware, OtherDiagnosticsAreOfferedWithoutTheirBuild) {
  InstallDiagnostics();
  CompareOne({{"description", "Diagnostic"}, {"Version", "-[dsa-2]-"}, {"BuildNumber", "-[B2]-"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "Diagnostics", "B1 - V1", "dsa-2"}}));
}

TEST_F(TSystemFirmware, MarkOfTheReleaseIsComparedByCase) {
  CompareOne({{"description", "Diagnostic"}, {"Version", "FDCP-1.10"}, {"BuildNumber", "B2"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "Diagnostics", " - ", "FDCP-1.10"}}));
}

TEST_F(TSystemFirmware, MarkOfTheReleaseIsFoundAnywhere) {
  CompareOne({{"description", "Diagnostic"}, {"Version", "-[x fdcp-1.10y]-"}});
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.UpTo(0), TLog({{0, "Starting Diagnostics comparison"},
                                       {0, "x fdcp-1.10y"},
                                       {0, "Skipping the comparison for p1.10."}}));
}

TEST_F(TSystemFirmware, DirectoryOfDiagnosticsInLowerCase) {
  CompareOne({{"installDirectory", "/opt/pkgs/diag"}, {"Version", "1"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "Diagnostics", " - ", "1"}}));
}

TEST_F(TSystemFirmware, DiagnosticsWithoutVersionsAreDelivered) {
  CompareOne({{"description", "Diagnostic"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "Diagnostics", " - ", ""}}));
}

struct TMachine {
  const char* name;
  const char* type;
  bool skips;
};
void PrintTo(const TMachine& machine, std::ostream* stream) { *stream << machine.type; }

class TDiagnosticsOfMachine : public TSystemFirmware,
                              public testing::WithParamInterface<TMachine> {};

TEST_P(TDiagnosticsOfMachine, Release110IsSkippedOnThreeMachineTypes) {
  InstallDiagnostics();
  const TFakeProperties element = {
      {"description", "Diagnostic"}, {"Version", "fdcp-1.10"}, {"BuildNumber", "B2"}};
  Compare(TInstanceList{Element(element)}, GetParam().type);
  TWalkLog log;
  log.BIOSTests(element).ChainTests(element);
  log.Read().ReadClass(1).Error("Starting Diagnostics comparison").Error("fdcp-1.10");
  TRecords records;
  if (GetParam().skips) {
    log.Error("Skipping the comparison for p1.10.");
  } else {
    log.Read().ReadClass(1).Delivery();
    records = {{"Firmware", "Diagnostics", "B1 - V1", "fdcp-1.10 - B2"}};
  }
  EXPECT_EQ(host.Records(), records);
  EXPECT_EQ(host.logger.Entries(), log.Report({kDiagnostics}));
}

constexpr TMachine kMachines[] = {
    {"First", "4620", true},          {"Second", "4631", true},   {"Third", "2705", true},
    {"AnotherType", "8888", false},   {"Longer", "46201", false}, {"WithABlank", "4620 ", false},
    {"WithMarks", "-[4620]-", false}, {"None", "", false},
};
INSTANTIATE_TEST_SUITE_P(Machines, TDiagnosticsOfMachine, testing::ValuesIn(kMachines),
                         TCaseName());

}  // namespace
}  // namespace svc::test
