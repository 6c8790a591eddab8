#include "tests/plugins/version_checker/firmware/firmware_fixture.h"
#include "tests/support/case_name.h"

using namespace svc::checker;

namespace svc::test {
namespace {

using TReport = TFirmwareTest;

TEST_F(TReport, EmptyCatalogueMissesEverything) {
  Compare(TInstanceList{});
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(), TLog({
                                       {3, "No firmware update found for System BIOS."},
                                       {3, "No firmware update found for Diagnostics."},
                                       {3, "No firmware update found for RWA II."},
                                       {3, "No firmware update found for RWA."},
                                       {3, "No firmware update found for ISCP."},
                                       {3, "No firmware update found for H8."},
                                       {3, "No firmware update found for BMC."},
                                       {3,
                                        "No firmware update found for Broadcom NetXtreme or "
                                        "NetXtreme II."},
                                       {3, "No firmware update found for LSI firmware."},
                                   }));
}

// An element and an inventory instance that make a component count as found.
struct TFound {
  const char* name;
  TFakeProperties element;
  const char* className;
  TFakeProperties installed;
  EReported component;
};

void PrintTo(const TFound& found, std::ostream* stream) { *stream << found.name; }

const TFakeProperties kProcessor = {{"BuildNumber", "KV12"},
                                    {"Name", "QRX Integrated Systems Control Processor"},
                                    {"Version", "1"}};

const TFound kFound[] = {
    {"SystemBIOS", {{"category", "BIOS"}}, "QRXSG_SystemBIOSElement", {}, kSystemBIOS},
    {"SystemUEFI", {{"category", "UEFI"}}, "QRXSG_SystemBIOSElement", {}, kSystemBIOS},
    {"Diagnostics", {{"description", "Diagnostic"}}, "QRXSG_DiagnosticVPD", {}, kDiagnostics},
    {"RWA2", {{"installDirectory", "/PKGS/RWA2"}}, "QRXSG_SPROMFirmwareVPDMain", kProcessor, kRWA2},
    {"RWA",
     {{"installDirectory", "/PKGS/REMOTWAT"}},
     "QRXSG_SPROMFirmwareVPDMain",
     kProcessor,
     kRWA},
    {"ISCP",
     {{"description", "Integrated System Control Processor"}, {"Version", "KV12"}},
     "QRXSG_SPROMFirmwareVPDMain",
     kProcessor,
     kISCP},
    {"H8",
     {{"category", "BMC/H8"}, {"description", "Integrated System Control"}},
     "QRXSG_SPROMFirmwareVPDMain",
     kProcessor,
     kH8},
    {"BMC",
     {{"category", "BMC/H8"}, {"description", "Baseboard Management Controller"}},
     "QRXSG_IPMIFirmwareElement",
     {{"Version", "1"}},
     kBMC},
    {"Broadcom",
     {{"description", "Broadcom NetXtreme and NetXtreme II Firmware"}},
     "QRXSG_BcmDeviceFirmwareElement",
     {},
     kBroadcom},
    {"IntegratedRAIDCountsAsRWA",
     {{"description", "LSI 1064"}},
     "QRXSG_LSIFirmwareElement",
     {{"Version", "1"}},
     kRWA},
    {"IntegratedRAIDBIOSCountsAsRWA",
     {{"description", "LSI 1064"}},
     "QRXSG_LSIBIOSElement",
     {{"Version", "1"}},
     kRWA},
};

class TReportOfFound : public TFirmwareTest, public testing::WithParamInterface<TFound> {};

TEST_P(TReportOfFound, LeavesOutTheComponentAndNoOther) {
  const TFound& found = GetParam();
  Install(found.className, found.installed);
  CompareOne(found.element);
  const TLog& all = host.logger.Entries();
  const TLog report = TWalkLog().Report({found.component}).Entries();
  ASSERT_GE(all.size(), report.size());
  EXPECT_EQ(TLog(all.end() - static_cast<std::ptrdiff_t>(report.size()), all.end()), report);
  for (const TLogEntry& entry : all) EXPECT_NE(entry.text, kMissingComponents[found.component]);
}

INSTANTIATE_TEST_SUITE_P(Components, TReportOfFound, testing::ValuesIn(kFound), TCaseName());

TEST_F(TReport, ElementsAloneDoNotFindAnAdapter) {
  Compare(TInstanceList{Element({{"installDirectory", "/PKGS/RWA2"}}),
                        Element({{"installDirectory", "/PKGS/REMOTWAT"}}),
                        Element({{"description", "Integrated System Control Processor"}}),
                        Element({{"category", "BMC/H8"}})});
  EXPECT_EQ(host.logger.UpTo(3), TWalkLog().Report().Entries());
}

}  // namespace
}  // namespace svc::test
