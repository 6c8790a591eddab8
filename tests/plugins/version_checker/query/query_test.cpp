// The query as a whole: the order of its steps and every way in which it ends.
#include <gtest/gtest.h>

#include "host/hskcore/os_specific.h"
#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "tests/plugins/version_checker/query/query_fixture.h"
#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"

using namespace NQRXHSK20;

namespace svc::test {
namespace {

class TQueryTest : public testing::Test {
 protected:
  TQueryTest() {
    FillInventory(*host.inventory);
    WriteCatalogue(folder, host, FillCatalogue);
  }
  // What the query writes to standard output.
  std::string Output(const std::string& svPath = kCatalogueFolder) {
    testing::internal::CaptureStdout();
    RunQuery(host, svPath);
    return testing::internal::GetCapturedStdout();
  }
  TLog LastEntries(std::size_t count) const {
    const TLog& entries = host.logger.Entries();
    return TLog(entries.end() - static_cast<std::ptrdiff_t>(std::min(count, entries.size())),
                entries.end());
  }
  bool Logged(const TLogEntry& entry) const {
    const TLog& entries = host.logger.Entries();
    return std::find(entries.begin(), entries.end(), entry) != entries.end();
  }

  TTemporaryFolder folder;
  TFakeHost host;
};

const TRecords kAllRecords = {
    {"Firmware", "System BIOS", "1.05", "QKL120A"},
    {"Firmware", "RWA card", "1.0 (B1) ", "1.0 (B2) "},
    {"Firmware", "Broadcom NetXtreme Network Device  0", "3.1", "4.0"},
    {"Driver", "TG3", "3.9", "3.99"},
};

TEST_F(TQueryTest, DeliversFirmwareThenDrivers) {
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(host.Records(), kAllRecords);
}

TEST_F(TQueryTest, StepsInOrder) {
  RunQuery(host);
  std::vector<std::string> steps;  // Without those calls that read and deliver.
  for (const std::string& call : host.script.Calls()) {
    for (const char* step : {"GetClass QRXSG_ComputerSystem", "GetClass QRXSG_OperatingSystem",
                             "GetProvider", "CreateNamespace", "PopulateFromXMLFile", "Parse",
                             "GetClass QRXPSG_SystemUpdateElement {}",
                             "EnumerateInstances QRXPSG_SystemUpdateElement deep {}",
                             "GetClass QRXSG_DeviceDriverInfo"}) {
      if (call.rfind(step, 0) == 0) steps.emplace_back(step);
    }
  }
  EXPECT_EQ(steps, (std::vector<std::string>{
                       "GetClass QRXSG_ComputerSystem", "GetClass QRXSG_OperatingSystem",
                       "GetProvider", "CreateNamespace", "PopulateFromXMLFile", "Parse",
                       "GetClass QRXPSG_SystemUpdateElement {}",
                       "EnumerateInstances QRXPSG_SystemUpdateElement deep {}",
                       "GetClass QRXSG_DeviceDriverInfo"}));
}

TEST_F(TQueryTest, BeginsWithItsTrace) {
  RunQuery(host);
  const TLog expected = TExpectedLog()
                            .Trace("In RunQuery")
                            .Trace("In getOSType")
                            .Read()
                            .Read()
                            .Read()
                            .Trace("In -u mode.")
                            .Trace("In MatchMachineInstances")
                            .Test()
                            .Test()
                            .Test()
                            .Entries();
  ASSERT_GT(host.logger.Entries().size(), expected.size());
  EXPECT_EQ(TLog(host.logger.Entries().begin(),
                 host.logger.Entries().begin() + static_cast<std::ptrdiff_t>(expected.size())),
            expected);
}

TEST_F(TQueryTest, NamesItselfInTheContext) {
  CIMContext context = {{"svPath", kCatalogueFolder}};
  RunQuery(host, context);
  EXPECT_EQ(context.at(TCIMSchemaHelper::kContextName).ToString(10),
            TCIMSchemaHelper::kPluginNSPName);
  EXPECT_EQ(context.at("svPath").ToString(10), kCatalogueFolder);
  EXPECT_EQ(context.size(), 2U);
}

TEST_F(TQueryTest, HoldsNothingAfterwards) {
  RunQuery(host);
  EXPECT_EQ(host.inventory.use_count(), 1);
  EXPECT_EQ(host.Catalogue(), nullptr);
}

TEST_F(TQueryTest, SecondQueryStartsAfresh) {
  RunQuery(host);
  RunQuery(host);
  TRecords twice = kAllRecords;
  twice.insert(twice.end(), kAllRecords.begin(), kAllRecords.end());
  EXPECT_EQ(host.Records(), twice);
}

TEST_F(TQueryTest, UnknownMachineTypeEndsIt) {
  host.inventory->Remove("QRXSG_ComputerSystem");
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(host.logger.Entries(),
            TLog({{4, "In RunQuery"}, {0, "Unable to determine machine type"}}));
}

TEST_F(TQueryTest, MissingPathLeavesAsAnExceptionAfterTheMachineIsKnown) {
  CIMContext context;
  try {
    RunQuery(host, context);
    FAIL() << "no exception";
  } catch (const THSKException& exception) {
    EXPECT_EQ(exception.GetStatusCode(), THSKStatusCode::kMissingContextEntry);
  }
  EXPECT_EQ(context.count(TCIMSchemaHelper::kContextName), 1U);
  EXPECT_EQ(host.logger.Entries(), TExpectedLog()
                                       .Trace("In RunQuery")
                                       .Trace("In getOSType")
                                       .Read()
                                       .Read()
                                       .Read()
                                       .Error("SV: 'svPath' not passed via context"));
}

TEST_F(TQueryTest, PathThatCannotBeReadEndsItWithTheHostsText) {
  // 32 is what a missing path leaves with: from anywhere else it leaves no query.
  for (const int status : {1, 13, 26, 32}) {
    host.script.Fail(std::string("string ") + kCatalogueFolder, ThrowStatus(status));
    host.logger.Forget();
    host.script.Forget();
    EXPECT_NO_THROW(RunQuery(host)) << status;
    EXPECT_EQ(host.logger.Entries(), TExpectedLog()
                                         .Trace("In RunQuery")
                                         .Trace("In getOSType")
                                         .Read()
                                         .Read()
                                         .Read()
                                         .Error(kScriptedFailure));
    EXPECT_EQ(host.script.Count("GetProvider inmem"), 0U);
  }
  EXPECT_TRUE(host.Records().empty());
}

TEST_F(TQueryTest, UnknownMachineTypeComesBeforeAMissingPath) {
  host.inventory->Remove("QRXSG_ComputerSystem");
  CIMContext context;
  EXPECT_NO_THROW(RunQuery(host, context));
}

TEST_F(TQueryTest, UnreadableSystemTypeEndsItWithTheHostsText) {
  host.script.Fail("GetProperty OSType {}", ThrowStatus(12));
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(LastEntries(1), TLog({{0, kScriptedFailure}}));
  EXPECT_TRUE(host.Records().empty());
}

TEST_F(TQueryTest, DefinitionsLieBelowTheCurrentFolder) {
  RunQuery(host);
  EXPECT_EQ(host.script.Count("PopulateFromXMLFile " + TOSSpecific::GetCurrentDir() +
                              TOSSpecific::kFileSeparator + "sv\\sv.definitions.xml"),
            1U);
}

struct TDefinitionsFault {
  const char* name;
  const char* call;
};
class TDefinitionsFailure : public TQueryTest,
                            public testing::WithParamInterface<TDefinitionsFault> {};

TEST_P(TDefinitionsFailure, EndsItBeforeTheCatalogueIsRead) {
  std::string call = GetParam().call;
  if (call == "PopulateFromXMLFile") {
    call +=
        " " + TOSSpecific::GetCurrentDir() + TOSSpecific::kFileSeparator + "sv\\sv.definitions.xml";
  }
  host.script.Fail(call, ThrowStatus(26));
  EXPECT_EQ(Output("no such folder"), "");
  EXPECT_EQ(LastEntries(2),
            TLog({{0, "Error loading SV definitions file..."}, {0, kScriptedFailure}}));
  EXPECT_FALSE(Logged({4, "In -u mode."}));
  EXPECT_TRUE(host.Records().empty());
}

constexpr TDefinitionsFault kDefinitionsFaults[] = {
    {"Provider", "GetProvider inmem"},
    {"Namespace", "CreateNamespace root/cimv2 0 {}"},
    {"File", "PopulateFromXMLFile"},
};
INSTANTIATE_TEST_SUITE_P(Calls, TDefinitionsFailure, testing::ValuesIn(kDefinitionsFaults),
                         TCaseName());

struct TIndexStatus {
  const char* name;
  int status;
  const char* output;
};
class TIndexFailure : public TQueryTest, public testing::WithParamInterface<TIndexStatus> {};

TEST_P(TIndexFailure, IsToldByItsStatus) {
  host.script.Fail("Parse index", ThrowStatus(GetParam().status));
  EXPECT_EQ(Output(), GetParam().output);
  EXPECT_EQ(LastEntries(4),
            TLog({{4, "In -u mode."},
                  {0, "Previous error was while parsing file 'catalogue/index.xml'"},
                  {0, "Error loading SV index file..."},
                  {0, kScriptedFailure}}));
  EXPECT_TRUE(host.Records().empty());
}

constexpr TIndexStatus kIndexStatuses[] = {
    {"OldDialect", 9,
     "\nERROR: Unsupported SV index specified, try again with SV CD version 4.02 or greater.\n"},
    {"NotFound", 26, "\nERROR: SV index not found at specified location.\n"},
    {"Unreadable", 11, "\nERROR: SV index not found at specified location.\n"},
    {"Malformed", 1, ""},
    {"UndefinedClass", 15, ""},
    {"NoBuffer", 4, ""},
};
INSTANTIATE_TEST_SUITE_P(Statuses, TIndexFailure, testing::ValuesIn(kIndexStatuses), TCaseName());

TEST_F(TQueryTest, MissingIndexIsTold) {
  EXPECT_EQ(Output("elsewhere"), "\nERROR: SV index not found at specified location.\n");
  EXPECT_EQ(LastEntries(3)[0], (TLogEntry{4, "In -u mode."}));
  EXPECT_EQ(LastEntries(3)[1], (TLogEntry{0, "Error loading SV index file..."}));
}

TEST_F(TQueryTest, OnlyTheExactWordIsLive) {
  for (const char* path : {"_LIVE_", "_live_ ", "live", ""}) {
    host.logger.Forget();
    EXPECT_EQ(Output(path), "\nERROR: SV index not found at specified location.\n");
    EXPECT_TRUE(Logged({4, "In -u mode."})) << path;
  }
}

TEST_F(TQueryTest, CatalogueWithoutTheClassEndsItQuietly) {
  host.definitions = [](TFakeNamespace&) {};
  host.documents["index"] = [](TFakeNamespace&) {};
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(LastEntries(1), TLog({{4, "In -u mode."}}));
}

TEST_F(TQueryTest, CatalogueWithoutElementsEndsItQuietly) {
  host.documents["index"] = [](TFakeNamespace&) {};
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(LastEntries(1), TLog({{4, "In -u mode."}}));
}

TEST_F(TQueryTest, OtherFailureOfTheClassTripsTheAssertion) {
  host.script.Fail("GetClass QRXPSG_SystemUpdateElement {}", ThrowStatus(1));
  EXPECT_THROW(RunQuery(host), TAssertionFailed);
}

TEST_F(TQueryTest, NothingApplicableIsAWarning) {
  host.documents["index"] = [](TFakeNamespace& catalogue) {
    catalogue.Add(kElementClass, {{"applicableMachineTypes", "-[4631]-"}});
  };
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(LastEntries(1),
            TLog({{1, "Warning: Sorvane comparison, no supported software updates found"}}));
  EXPECT_TRUE(host.Records().empty());
}

TEST_F(TQueryTest, FolderIsNotFilteredByOperatingSystem) {
  host.documents["index"] = [](TFakeNamespace& catalogue) {
    catalogue.Add(kElementClass, {{"category", "BIOS"},
                                  {"Version", "2"},
                                  {"applicableMachineTypes", "-[4620]-"},
                                  {"applicableOperatingSystems", "SLES10"},
                                  {"driverFiles", "tg3-#5"}});
  };
  RunQuery(host);
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "1.05", "2"}}));
  EXPECT_FALSE(Logged({4, "In MatchOSInstances"}));
}

TEST_F(TQueryTest, OfferedDriversThatCannotBeListedEndItAfterTheFirmware) {
  bool firmwareIsDone = false;
  host.logger.OnEntry([&](std::string_view text) {
    if (firmwareIsDone) {
      firmwareIsDone = false;
      throw THSKException("no class", THSKStatusCode::kClassNotFound);
    }
    firmwareIsDone = text == "No firmware update found for LSI firmware.";
  });
  RunQuery(host);
  EXPECT_EQ(host.Records(), TRecords(kAllRecords.begin(), kAllRecords.begin() + 3));
  EXPECT_EQ(LastEntries(2),
            TLog({{3, "No firmware update found for LSI firmware."},
                  {1, "No driver updates found, This system may not be supported by SV"}}));
}

TEST_F(TQueryTest, OfferedDriversThatFailOtherwiseAreLeftOut) {
  bool firmwareIsDone = false;
  host.logger.OnEntry([&](std::string_view text) {
    if (firmwareIsDone) {
      firmwareIsDone = false;
      throw THSKException("broken", THSKStatusCode::kFailed);
    }
    firmwareIsDone = text == "No firmware update found for LSI firmware.";
  });
  RunQuery(host);
  EXPECT_EQ(host.Records(), TRecords(kAllRecords.begin(), kAllRecords.begin() + 3));
  EXPECT_EQ(LastEntries(2), TLog({{4, "Driver status:"}, {4, "4"}}));
}

TEST_F(TQueryTest, CatalogueWithoutDriversStaysSilent) {
  host.documents["index"] = [](TFakeNamespace& catalogue) {
    AddElement(catalogue, {{"category", "BIOS"}});
  };
  RunQuery(host);
  EXPECT_EQ(host.Records().size(), 1U);
  EXPECT_TRUE(host.logger.UpTo(1).empty());
}

TEST_F(TQueryTest, FailureThatNoStepKnowsEndsItWithItsText) {
  host.script.Fail("Commit QRXSG_SVResult {}", ThrowStatus(77));
  EXPECT_NO_THROW(RunQuery(host));
  EXPECT_EQ(LastEntries(2), TLog({{4, "In DeliverInstance"}, {0, kScriptedFailure}}));
}

TEST_F(TQueryTest, MissingRecordClassIsToldForEachRecord) {
  host.inventory->Remove("QRXSG_SVResult");
  RunQuery(host);
  EXPECT_EQ(host.logger.UpTo(1), TLog(4, {0, "QRXSG_SVResult not found"}));
}

class TLiveQuery : public TQueryTest {
 protected:
  TLiveQuery() { WriteDownload(folder, host, FillCatalogue); }
};

TEST_F(TLiveQuery, ComparesWithTheFamilyOfSystems) {
  host.documents["a"] = [](TFakeNamespace& catalogue) {
    AddElement(catalogue, {{"category", "BIOS"}, {"Version", "for RHEL5_64"}});
    catalogue.Add(kElementClass, {{"category", "BIOS"},
                                  {"Version", "for Linux"},
                                  {"applicableMachineTypes", "-[4620]-"},
                                  {"applicableOperatingSystems", "Linux"},
                                  {"driverFiles", "tg3-#5"}});
  };
  EXPECT_EQ(Output("_live_"), "");
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "1.05", "for Linux"},
                                      {"Driver", "TG3", "3.9", "5"}}));
  EXPECT_TRUE(Logged({4, "In MatchOSInstances"}));
  EXPECT_FALSE(Logged({4, "In -u mode."}));
}

TEST_F(TLiveQuery, NothingForTheFamilyIsAWarning) {
  EXPECT_EQ(Output("_live_"), "");
  EXPECT_EQ(LastEntries(1),
            TLog({{1, "Warning: Sorvane comparison, no supported software updates found"}}));
}

TEST_F(TLiveQuery, FailedDownloadEndsIt) {
  host.download.result = 5;
  EXPECT_EQ(Output("_live_"),
            "\n     Warning: Cannot reach server - SV comparison will not be available\n");
  EXPECT_EQ(LastEntries(2),
            TLog({{3, "SV download failed, return value: 5"}, {3, "error connecting."}}));
  EXPECT_EQ(host.script.Count("GetClass QRXPSG_SystemUpdateElement {}"), 0U);
}

TEST_F(TLiveQuery, DefinitionsComeFirst) {
  host.script.Fail("GetProvider inmem", ThrowStatus(1));
  Output("_live_");
  EXPECT_EQ(host.script.Count("DownloadManager"), 0U);
}

}  // namespace
}  // namespace svc::test
