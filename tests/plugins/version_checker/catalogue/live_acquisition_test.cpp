#include "plugins/version_checker/catalogue/live_acquisition.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"
#include "tests/support/temporary_folder.h"

using namespace NQRXHSK20;
using namespace svc::checker;

namespace svc::test {
namespace {

using TCalls = std::vector<std::string>;

class TNoPlugin : public IPluginCallbacks {
 public:
  int GetInterfaceVersion() override { return 1; }
  std::string GetName() override { return "A plug-in"; }
  std::string GetVersion() override { return ""; }
  std::string GetBuildVersion() override { return ""; }
  void Release() override {}
  void OnHostStarted() override {}
  void OnHostStopping() override {}
};

class TLiveDownload : public testing::Test {
 protected:
  TLiveDownload() {
    folder.Write("sv/header.xml", "header");
    host.documents["header"] = [](TFakeNamespace&) {};
  }
  void Write(const std::string& name) {
    folder.Write("c/QRX_Support/SV/" + name, name);
    host.documents[name] = [](TFakeNamespace&) {};
  }
  // Whether the query goes on; what was written to standard output is kept.
  bool Run(std::string& osType) {
    testing::internal::CaptureStdout();
    TLiveAcquisition acquisition(plugin, context, machineType,
                                 boost::make_shared<TFakeNamespace>(host.script));
    const bool goesOn = acquisition.Run(osType);
    output = testing::internal::GetCapturedStdout();
    return goesOn;
  }
  bool RunFor(std::string osType) { return Run(osType); }
  static std::string Warning(const std::string& text) {
    return "\n     Warning: " + text + " - SV comparison will not be available\n";
  }

  TTemporaryFolder folder;
  TFakeHost host;
  TNoPlugin plugin;
  CIMContext context;
  std::string machineType = "4620";
  std::string output;
};

struct TCode {
  const char* osType;
  const char* request;
  const char* family;
};
void PrintTo(const TCode& code, std::ostream* stream) { *stream << code.osType; }

class TDownloadCode : public TLiveDownload, public testing::WithParamInterface<TCode> {};

TEST_P(TDownloadCode, AsksForItsSystemAndBecomesItsFamily) {
  Write("a.xml");
  std::string osType = GetParam().osType;
  EXPECT_TRUE(Run(osType));
  EXPECT_EQ(osType, GetParam().family);
  EXPECT_EQ(output, "");
  EXPECT_EQ(host.script.Count(std::string("setOperatingSystems ") + GetParam().request), 1U);
}

constexpr TCode kCodes[] = {
    {"VMWARE3", "303/1", "VMware"},
    {"VMWARE4", "304/2", "VMware"},
    {"SLES9_64", "222/2", "Linux"},
    {"SLES10_64", "223/2", "Linux"},
    {"SLES11_64", "224/2", "Linux"},
    {"RHEL3_64", "201/2", "Linux"},
    {"RHEL4_64", "202/2", "Linux"},
    {"RHEL5_64", "203/2", "Linux"},
    {"RHEL6_64", "204/2", "Linux"},
    {"SLES9", "222/1", "Linux"},
    {"SLES10", "223/1", "Linux"},
    {"SLES11", "224/1", "Linux"},
    {"RHEL3", "201/1", "Linux"},
    {"RHEL4", "202/1", "Linux"},
    {"RHEL5", "203/1", "Linux"},
    {"RHEL6", "204/1", "Linux"},
    {"Windows 2003", "103/1", "Windows 2003"},
    {"Windows 2000", "102/1", "Windows 2000"},
    {"Windows 2008", "109/1", "Windows 2008"},
};
INSTANTIATE_TEST_SUITE_P(Codes, TDownloadCode, testing::ValuesIn(kCodes), [](const auto& code) {
  std::string name = code.param.osType;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
});

class TUnknownCode : public TLiveDownload, public testing::WithParamInterface<const char*> {};

TEST_P(TUnknownCode, EndsTheQueryBeforeADownload) {
  EXPECT_FALSE(RunFor(GetParam()));
  EXPECT_EQ(output, Warning("Incorrect OS type"));
  EXPECT_EQ(host.logger.Entries(),
            TLog({{0, std::string("Incorrect OS type! osType is ") + GetParam()}}));
  EXPECT_TRUE(host.script.Calls().empty());
}

INSTANTIATE_TEST_SUITE_P(Codes, TUnknownCode,
                         testing::Values("", "rhel5", "RHEL7", "Linux", "Windows", "VMWARE3_64"));

TEST_F(TLiveDownload, SettingsThenDownloadThenFiles) {
  Write("b.xml");
  Write("a.xml");
  EXPECT_TRUE(RunFor("RHEL5_64"));
  EXPECT_EQ(host.script.Calls(),
            (TCalls{"DownloadManager",      "setDownloadPath C:\\QRX_Support\\SV",
                    "setMachineTypes 4620", "setOperatingSystems 203/2",
                    "setIncludeData false", "setIsLatest true",
                    "startDownload",        "SearchForPluginByName A plug-in",
                    "TCIMXMLParser",        "SetSV402Mode",
                    "Parse header",         "GetClassesCollected",
                    "TCIMXMLParser",        "SetSV402Mode",
                    "Parse a.xml",          "GetClassesCollected",
                    "TCIMXMLParser",        "SetSV402Mode",
                    "Parse b.xml",          "GetClassesCollected"}));
  EXPECT_EQ(host.logger.Entries(), TExpectedLog()
                                       .Progress("Starting kPL.")
                                       .Progress("start downloading.")
                                       .Progress("ending kPL.")
                                       .Progress("C:\\QRX_Support\\SV\\a.xml")
                                       .Progress("C:\\QRX_Support\\SV\\b.xml"));
}

TEST_F(TLiveDownload, FilesOfOtherFamiliesAreSkipped) {
  Write("darwin.xml");
  EXPECT_TRUE(RunFor("RHEL5_64"));
  EXPECT_EQ(host.script.Count("Parse darwin.xml"), 0U);
  EXPECT_TRUE(RunFor("VMWARE4"));
  EXPECT_EQ(host.script.Count("Parse darwin.xml"), 1U);
}

TEST_F(TLiveDownload, ProxyIsSetBeforeTheMachineType) {
  Write("a.xml");
  context["svProxy"] = TCIMValue::Array(ECIMType::kString, {"proxyhost", "8080", "user1", "pw"});
  EXPECT_TRUE(RunFor("RHEL5"));
  EXPECT_EQ(TCalls(host.script.Calls().begin(), host.script.Calls().begin() + 4),
            (TCalls{"DownloadManager", "setDownloadPath C:\\QRX_Support\\SV", "setProxy",
                    "setMachineTypes 4620"}));
  ASSERT_TRUE(host.download.proxy.has_value());
  EXPECT_TRUE(host.download.proxy->enabled);
  EXPECT_EQ(host.download.proxy->host, "proxyhost");
  EXPECT_EQ(host.download.proxy->port, 8080);
  EXPECT_EQ(host.download.proxy->user, "user1");
  EXPECT_EQ(host.download.proxy->password, "pw");
}

TEST_F(TLiveDownload, IncompleteProxyIsNone) {
  Write("a.xml");
  context["svProxy"] = TCIMValue::Array(ECIMType::kString, {"proxyhost", "8080"});
  EXPECT_TRUE(RunFor("RHEL5"));
  EXPECT_FALSE(host.download.proxy.has_value());
  EXPECT_EQ(host.logger.UpTo(1), TLog());
}

TEST_F(TLiveDownload, FailureNamesItsNumber) {
  Write("a.xml");
  for (const int result : {5, -1}) {
    host.logger.Forget();
    host.download.result = result;
    EXPECT_FALSE(RunFor("RHEL5"));
    EXPECT_EQ(output, Warning("Cannot reach server"));
    EXPECT_EQ(host.logger.Entries(),
              TExpectedLog()
                  .Progress("Starting kPL.")
                  .Progress("start downloading.")
                  .Progress("SV download failed, return value: " + std::to_string(result))
                  .Progress("error connecting."));
  }
  EXPECT_EQ(host.script.Count("Parse header"), 0U);
}

TEST_F(TLiveDownload, EmptyFolderIsNoServerProblem) {
  EXPECT_FALSE(RunFor("RHEL5"));
  EXPECT_EQ(output, Warning("No update information found"));
  EXPECT_EQ(host.logger.Entries(), TExpectedLog()
                                       .Progress("Starting kPL.")
                                       .Progress("start downloading.")
                                       .Progress("ending kPL.")
                                       .Progress("error connecting."));
}

TEST_F(TLiveDownload, FolderWithoutDescriptionsLoadsTheHeaderAlone) {
  Write("readme.txt");
  EXPECT_TRUE(RunFor("RHEL5"));
  EXPECT_EQ(host.script.Count("Parse header"), 1U);
}

TEST_F(TLiveDownload, MissingHeaderIsReportedAsAnIndex) {
  Write("a.xml");
  std::filesystem::remove("sv/header.xml");
  EXPECT_FALSE(RunFor("RHEL5"));
  EXPECT_EQ(output, "\nERROR: SV index not found at specified location.\n");
  ASSERT_EQ(host.logger.UpTo(1).size(), 2U);
  EXPECT_EQ(host.logger.UpTo(1)[0], (TLogEntry{0, "Error loading SV index file..."}));
}

TEST_F(TLiveDownload, BrokenDescriptionIsReportedAsAnIndex) {
  Write("a.xml");
  host.script.Fail("Parse a.xml", ThrowStatus(9));
  EXPECT_FALSE(RunFor("RHEL5"));
  EXPECT_EQ(output,
            "\nERROR: Unsupported SV index specified, try again with SV CD version 4.02 or "
            "greater.\n");
  EXPECT_EQ(host.logger.UpTo(1),
            TLog({{0, "Previous error was while parsing file 'C:\\QRX_Support\\SV\\a.xml'"},
                  {0, "Error loading SV index file..."},
                  {0, kScriptedFailure}}));
}

TEST_F(TLiveDownload, StaleIndexIsRemovedFirst) {
  const std::string stale =
      "c/QRX_Support/qrx_utl_svsp_a3sp09a-1.21_windows_32-64.xml/hsk_sv_index.xml";
  folder.Write(stale, "old");
  EXPECT_FALSE(RunFor("unknown"));
  EXPECT_FALSE(folder.Holds(stale));
}

TEST_F(TLiveDownload, MessagesOfTheDownloadLeaveNothing) {
  Write("a.xml");
  host.download.messages = {
      {3, "4620:RHEL5", 0},     {4, "4620:RHEL5:2", 0}, {0, "a:b", 0}, {13, "a:b", 0}, {5, "", 3},
      {6, "4620:Windows 7", 0}, {8, "a:b", 0},          {9, "a:b", 0}, {99, ":::", -1}};
  EXPECT_TRUE(RunFor("RHEL5"));
  EXPECT_EQ(output, "");
  EXPECT_EQ(host.logger.Entries().size(), 4U);
}

}  // namespace
}  // namespace svc::test
