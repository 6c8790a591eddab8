#include "plugins/version_checker/catalogue/catalogue_loader.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"
#include "tests/support/temporary_folder.h"

using NQRXHSK20::THSKException;
using namespace svc::checker;

namespace svc::test {
namespace {

constexpr const char* kOnWindows = "Skip linux xml on windows";
constexpr const char* kOnLinux = "Skip windows xml on linux";

struct TScanned {
  const char* name;
  const char* file;
  const char* family;
  const char* outcome;  // "load", "" for a silent skip, or what is logged for a skip.
};
void PrintTo(const TScanned& scanned, std::ostream* stream) {
  *stream << scanned.file << " on " << scanned.family;
}

class TDownloadFolder : public testing::Test {
 protected:
  void Load(const std::vector<std::string>& names, const std::string& family) {
    LoadDownloadedFiles(names, family, boost::make_shared<TFakeNamespace>(host.script));
  }
  void Write(const std::string& name) {
    folder.Write("c/QRX_Support/SV/" + name, name);
    host.documents[name] = [](TFakeNamespace&) {};
  }

  TTemporaryFolder folder;
  TFakeHost host;
};

class TDownloadedFile : public TDownloadFolder, public testing::WithParamInterface<TScanned> {};

TEST_P(TDownloadedFile, IsLoadedWhereItSuitsTheFamily) {
  const std::string file = GetParam().file;
  const std::string outcome = GetParam().outcome;
  Write(file);
  Load({file}, GetParam().family);
  EXPECT_EQ(host.script.Count("Parse " + file), outcome == "load" ? 1U : 0U);
  TExpectedLog log;
  if (outcome == "load") log.Progress("C:\\QRX_Support\\SV\\" + file);
  if (outcome != "load" && !outcome.empty()) log.Progress(outcome);
  EXPECT_EQ(host.logger.Entries(), log);
}

constexpr TScanned kFiles[] = {
    {"XML", "a.xml", "Linux", "load"},
    {"XMLAnywhereInTheName", "readme.xml.txt", "Linux", "load"},
    {"CapitalsAreNoXML", "README.XML", "Linux", ""},
    {"OtherFile", "a.txt", "Linux", ""},
    {"OtherFileForOthers", "win.txt", "Linux", ""},
    {"LinuxOnWindows2003", "sv_linux.xml", "Windows 2003", kOnWindows},
    {"LinuxOnWindows2000", "sv_linux.xml", "Windows 2000", kOnWindows},
    {"LinuxOnWindows2008", "sv_linux.xml", "Windows 2008", kOnWindows},
    {"BothOnWindows", "sv_windows_linux.xml", "Windows 2008", kOnWindows},
    {"BothOnLinux", "sv_windows_linux.xml", "Linux", kOnLinux},
    {"WindowsOnWindows", "sv_windows.xml", "Windows 2003", "load"},
    {"LinuxInCapitalsOnWindows", "sv_LINUX.xml", "Windows 2003", "load"},
    {"LinuxOnLinux", "sv_linux.xml", "Linux", "load"},
    {"WindowsOnLinux", "sv_windows.xml", "Linux", kOnLinux},
    {"DarwinOnLinux", "darwin.xml", "Linux", kOnLinux},
    {"WindowsInCapitalsOnLinux", "sv_WINDOWS.xml", "Linux", "load"},
    {"WindowsOnVMware", "sv_windows.xml", "VMware", "load"},
    {"LinuxOnVMware", "sv_linux.xml", "VMware", "load"},
    {"LinuxOnAnotherWindows", "sv_linux.xml", "Windows 7", "load"},
};
INSTANTIATE_TEST_SUITE_P(Families, TDownloadedFile, testing::ValuesIn(kFiles), TCaseName());

TEST_F(TDownloadFolder, FilesAreLoadedInOrder) {
  for (const char* name : {"b.xml", "a.xml"}) Write(name);
  Load({"b.xml", "win.xml", "a.xml"}, "Linux");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog()
                                       .Progress("C:\\QRX_Support\\SV\\b.xml")
                                       .Progress(kOnLinux)
                                       .Progress("C:\\QRX_Support\\SV\\a.xml"));
}

TEST_F(TDownloadFolder, FirstFailureEndsTheScan) {
  for (const char* name : {"a.xml", "b.xml"}) Write(name);
  host.script.Fail("Parse a.xml", ThrowStatus(9));
  EXPECT_THROW(Load({"a.xml", "b.xml"}, "Linux"), THSKException);
  EXPECT_EQ(host.script.Count("Parse b.xml"), 0U);
}

}  // namespace
}  // namespace svc::test
