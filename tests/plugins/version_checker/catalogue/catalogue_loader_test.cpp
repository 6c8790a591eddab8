#include "plugins/version_checker/catalogue/catalogue_loader.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <fstream>
#include <iterator>

#include "host/hskcore/os_specific.h"
#include "tests/support/case_name.h"
#include "tests/support/fake_host.h"
#include "tests/support/temporary_folder.h"

using namespace NQRXHSK20;
using namespace svc::checker;

namespace svc::test {
namespace {

using TCalls = std::vector<std::string>;

class TCatalogueFile : public testing::Test {
 protected:
  TClassList Load(const std::string& path) {
    return TCatalogueOperations::LoadCatalogueFile(path, target);
  }
  // The status of the failure, 0 when there is none.
  int StatusOf(const std::string& path) {
    try {
      Load(path);
    } catch (const THSKException& exception) {
      return static_cast<int>(exception.GetStatusCode());
    }
    return 0;
  }

  TTemporaryFolder folder;
  TFakeHost host;
  boost::shared_ptr<TFakeNamespace> target = boost::make_shared<TFakeNamespace>(host.script);
};

TEST_F(TCatalogueFile, IsParsedInTheDialectOfCatalogues) {
  folder.Write("index.xml", "a document");
  host.documents["a document"] = [](TFakeNamespace& cimNamespace) { cimNamespace.Class("Thing"); };
  const TClassList classes = Load("index.xml");
  EXPECT_EQ(host.script.Calls(),
            (TCalls{"TCIMXMLParser", "SetSV402Mode", "Parse a document", "GetClassesCollected"}));
  EXPECT_EQ(classes.size(), 2U);
  EXPECT_NO_THROW(boost::shared_ptr<ICIMClass> found; target->GetClass(found, "Thing", {}));
  EXPECT_TRUE(host.logger.Entries().empty());
}

TEST_F(TCatalogueFile, EmptyFileIsParsed) {
  folder.Write("index.xml", "");
  EXPECT_EQ(StatusOf("index.xml"), 1);
  EXPECT_EQ(host.script.Calls(), (TCalls{"TCIMXMLParser", "SetSV402Mode", "Parse "}));
}

// The file has no more than one block on the disk.
TEST_F(TCatalogueFile, OnlyTheLow32BitsOfTheSizeCount) {
  const std::string text = "a document";
  folder.Write("index.xml", text);
  std::filesystem::resize_file("index.xml", (std::uint64_t{1} << 32) + text.size());
  host.documents[text] = [](TFakeNamespace&) {};
  EXPECT_EQ(StatusOf("index.xml"), 0);
  EXPECT_EQ(host.script.Count("Parse " + text), 1U);
}

TEST_F(TCatalogueFile, ThatNoMemoryHoldsHasAStatusOfItsOwn) {
  if (SVC_SANITIZED) GTEST_SKIP() << "a sanitizer's own memory fills the address space";
  folder.Write("index.xml", "a document");
  std::filesystem::resize_file("index.xml", 3U << 30);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_AS, &before), 0);
  const rlimit granted{std::min<rlim_t>(before.rlim_max, 1U << 30), before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &granted), 0);
  const int status = StatusOf("index.xml");
  ::setrlimit(RLIMIT_AS, &before);
  EXPECT_EQ(status, 4);
  EXPECT_TRUE(host.script.Calls().empty());
}

TEST_F(TCatalogueFile, MayBeNamedInWindowsForm) {
  folder.Write("c/QRX_Support/SV/a.xml", "a document");
  host.documents["a document"] = [](TFakeNamespace&) {};
  EXPECT_EQ(StatusOf("C:\\QRX_Support\\SV\\a.xml"), 0);
}

TEST_F(TCatalogueFile, MissingFileHasTheHostsStatus) {
  EXPECT_EQ(StatusOf("none.xml"), 26);
  EXPECT_TRUE(host.script.Calls().empty());
}

TEST_F(TCatalogueFile, FolderCannotBeRead) {
  std::filesystem::create_directory("index.xml");
  EXPECT_EQ(StatusOf("index.xml"), 11);
  EXPECT_TRUE(host.script.Calls().empty());
}

// The parser reads up to the end of the block; an allocator gives a few bytes more than it is
// asked.
TEST_F(TCatalogueFile, LiesInABlockOfItsSize) {
  const std::string text(100'000, 'x');
  folder.Write("index.xml", text);
  host.documents[text] = [](TFakeNamespace&) {};
  EXPECT_EQ(StatusOf("index.xml"), 0);
  EXPECT_GE(host.documentBlock, text.size());
  EXPECT_LT(host.documentBlock, text.size() + text.size() / 2);
}

// Files of sysfs have a size of a page and less in them.
TEST_F(TCatalogueFile, ThatIsShorterThanItsSizeIsParsed) {
  const std::string file = "/sys/devices/system/cpu/online";
  std::ifstream stream(file);
  const std::string text((std::istreambuf_iterator<char>(stream)), {});
  if (text.empty()) GTEST_SKIP() << file << " is not there";
  ASSERT_GT(std::filesystem::file_size(file), text.size());
  host.documents[text] = [](TFakeNamespace&) {};
  EXPECT_EQ(StatusOf(file), 0);
  EXPECT_EQ(host.script.Count("Parse " + text), 1U);
}

TEST_F(TCatalogueFile, ThatMayNotBeReadIsNamedWithTheReason) {
  folder.Write("index.xml", "a document");
  std::filesystem::permissions(folder.Path(), std::filesystem::perms(0755));
  std::filesystem::permissions("index.xml", std::filesystem::perms::none);
  const bool isRoot = ::geteuid() == 0;  // who may read everything
  if (isRoot) {
    ASSERT_EQ(::seteuid(65534), 0);
  }
  try {
    Load("index.xml");
    ADD_FAILURE() << "read";
  } catch (const THSKException& exception) {
    EXPECT_EQ(exception.GetStatusCode(), THSKStatusCode::kFileUnreadable);
    EXPECT_EQ(exception.GetMessageText(), "Cannot open 'index.xml': Permission denied");
  }
  if (isRoot) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  EXPECT_TRUE(host.script.Calls().empty());
}

TEST_F(TCatalogueFile, FailureOfTheParserNamesTheFileAndKeepsItsStatus) {
  folder.Write("index.xml", "x");
  for (const int status : {1, 9, 15, 26, 77}) {
    host.logger.Forget();
    host.script.Fail("Parse x", ThrowStatus(status));
    EXPECT_EQ(StatusOf("index.xml"), status);
    EXPECT_EQ(host.logger.Entries(),
              TLog({{0, "Previous error was while parsing file 'index.xml'"}}));
  }
  try {
    Load("index.xml");
  } catch (const THSKException& exception) {
    EXPECT_EQ(exception.GetMessageText(), kScriptedFailure);
  }
}

TEST_F(TCatalogueFile, OtherExceptionOfTheParserPasses) {
  folder.Write("index.xml", "x");
  host.script.Fail("Parse x", kThrowOther);
  EXPECT_THROW(Load("index.xml"), TOtherFailure);
  EXPECT_TRUE(host.logger.Entries().empty());
}

class TNamedPlugin : public IPluginCallbacks {
 public:
  int GetInterfaceVersion() override { return 1; }
  std::string GetName() override { return "A plug-in"; }
  std::string GetVersion() override { return ""; }
  std::string GetBuildVersion() override { return ""; }
  void Release() override {}
  void OnHostStarted() override {}
  void OnHostStopping() override {}
};

class TCatalogueNamespace : public testing::Test {
 protected:
  TTemporaryFolder folder;
  TFakeHost host;
  TNamedPlugin plugin;
};

TEST_F(TCatalogueNamespace, HoldsTheDefinitionsBelowTheCurrentFolder) {
  const TNamespaceHandle created = CreateCatalogueNamespace(plugin);
  EXPECT_EQ(created, host.Catalogue());
  EXPECT_EQ(host.script.Calls(),
            (TCalls{"GetProvider inmem", "CreateNamespace root/cimv2 0 {}",
                    "SearchForPluginByName A plug-in",
                    "PopulateFromXMLFile " + TOSSpecific::GetCurrentDir() +
                        TOSSpecific::kFileSeparator + "sv\\sv.definitions.xml"}));
}

TEST_F(TCatalogueNamespace, PluginDirectoryIsTheCurrentOne) {
  EXPECT_EQ(TCatalogueOperations::GetPluginDirectory(plugin), TOSSpecific::GetCurrentDir());
  EXPECT_EQ(host.script.Calls(), TCalls{"SearchForPluginByName A plug-in"});
}

TEST_F(TCatalogueNamespace, WithoutAProviderTheAssertionTrips) {
  host.script.Fail("GetProvider inmem", kEmptyHandle);
  EXPECT_THROW(CreateCatalogueNamespace(plugin), TAssertionFailed);
}

TEST_F(TCatalogueNamespace, WithoutAPluginManagerTheAssertionTrips) {
  InstallPluginManager({});
  EXPECT_THROW(CreateCatalogueNamespace(plugin), TAssertionFailed);
}

struct TFailure {
  const char* name;
  int status;
  const char* output;
};
void PrintTo(const TFailure& failure, std::ostream* stream) { *stream << failure.status; }

class TIndexFailure : public testing::TestWithParam<TFailure> {};

TEST_P(TIndexFailure, IsLoggedAndToldByItsStatus) {
  TFakeHost host;
  testing::internal::CaptureStdout();
  ReportIndexFailure(THSKException("why", static_cast<THSKStatusCode>(GetParam().status)));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), GetParam().output);
  EXPECT_EQ(host.logger.Entries(), TLog({{0, "Error loading SV index file..."}, {0, "why"}}));
}

constexpr const char* kNotFound = "\nERROR: SV index not found at specified location.\n";
constexpr TFailure kFailures[] = {
    {"OldDialect", 9,
     "\nERROR: Unsupported SV index specified, try again with SV CD version 4.02 or greater.\n"},
    {"NotFound", 26, kNotFound},
    {"NotReadable", 11, kNotFound},
    {"NoBuffer", 4, ""},
    {"Malformed", 1, ""},
    {"UndefinedClass", 15, ""},
    {"UnknownStatus", 77, ""},
};
INSTANTIATE_TEST_SUITE_P(Statuses, TIndexFailure, testing::ValuesIn(kFailures), TCaseName());

}  // namespace
}  // namespace svc::test
