// What a query leaves behind in the process, however it ended.
#include "svcheck/session/query_session.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "host/hskcore/root_object.h"
#include "rules/names.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/process.h"
#include "tests/support/recording_logger.h"
#include "tests/support/temporary_folder.h"

namespace svc {
namespace {

using NQRXHSK20::TRootObject;

constexpr const char* kSample = DATA_FOLDER "/sample";

TQueryRequest Request() {
  TQueryRequest request;
  request.inventories = {std::string(kSample) + "/inventory.xml"};
  request.context[rules::kCatalogueEntry] =
      NQRXHSK20::TCIMValue(std::string(kSample) + "/catalogue");
  request.dataFolder = DATA_FOLDER;
  request.plugin = PLUGIN;
  return request;
}

// All of the process that a query changes.
struct THost {
  const void* logger = &TRootObject::GetCoreLogger();
  const void* provider = TRootObject::GetNamespaceProviderManager()->GetProvider("inmem").get();
  const void* plugins = TRootObject::GetPluginManager().get();
  const void* observer = acquire::GetSettings().observer;
  std::filesystem::path folder = std::filesystem::current_path();
  std::uint64_t output = FileOf(STDOUT_FILENO);

  bool operator==(const THost& other) const = default;

  static std::uint64_t FileOf(int descriptor) {
    struct stat status {};
    EXPECT_EQ(::fstat(descriptor, &status), 0);
    return status.st_ino;
  }
};

class TReads : public IReadObserver {
 public:
  void OnGetClass(std::string_view /*className*/) override { ++count; }
  void OnGetProperty(const NQRXHSK20::ICIMInstance& /*instance*/,
                     std::string_view /*name*/) override {
    ++count;
  }
  int count = 0;
};

class TProgress : public acquire::IProgressObserver {
 public:
  void OnProgress(const acquire::TDownloadProgress& /*progress*/) noexcept override {}
};

class QuerySession : public testing::Test {
 protected:
  // Both handles are told apart by how many hold them.
  boost::shared_ptr<test::TRecordingLogger> log{new test::TRecordingLogger};
  std::shared_ptr<int> held = std::make_shared<int>(0);
  TProgress progress;
  TReads inventory;
  TReads catalogue;
  const THost before = THost();

  TFollowers Followers() {
    return {.log = log,
            .onLoaded = [held = held] { ++*held; },
            .download = &progress,
            .inventory = &inventory,
            .catalogue = &catalogue};
  }

  // While the session still lives.
  void ExpectNobodyFollows(const TQuerySession& session) {
    THost now;
    EXPECT_NE(now.plugins, nullptr) << "the plug-in is loaded as long as the session lives";
    now.plugins = before.plugins;
    EXPECT_EQ(now, before);
    const int read = inventory.count;
    InstancesOf(session.Inventory(), rules::kSystemClass);
    EXPECT_EQ(inventory.count, read);
    if (!session.Catalogue()) return;
    const int readOfCatalogue = catalogue.count;
    InstancesOf(session.Catalogue(), rules::kUpdateClass);
    EXPECT_EQ(catalogue.count, readOfCatalogue);
  }

  void ExpectAllIsAsBefore() {
    EXPECT_EQ(THost(), before);
    EXPECT_EQ(log.use_count(), 1);
    EXPECT_EQ(held.use_count(), 1);
  }
};

TEST_F(QuerySession, LeavesTheHostAsItWas) {
  {
    TQuerySession session(Request());
    session.Run(Followers());
    ExpectNobodyFollows(session);
    report::TReport report;
    session.Conclude(report);
    EXPECT_GT(report.catalogue.elements, 0U);
    EXPECT_EQ(report.outcome, report::EOutcome::kDone);
    EXPECT_GT(report.source->Count(), 0U);
    EXPECT_GT(inventory.count, 0);
    EXPECT_GT(catalogue.count, 0);
    EXPECT_EQ(*held, 1) << "the catalogue is loaded once";
    EXPECT_FALSE(log->Entries().empty());
  }
  ExpectAllIsAsBefore();
}

TEST_F(QuerySession, LeavesTheHostAsItWasWhenTheQueryCannotBegin) {
  {
    TQueryRequest request = Request();
    request.dataFolder = DATA_FOLDER "/missing";
    TQuerySession session(std::move(request));
    EXPECT_THROW(session.Run(Followers()), TError);
    ExpectNobodyFollows(session);
    EXPECT_EQ(session.Catalogue(), nullptr);
  }
  ExpectAllIsAsBefore();
}

TEST_F(QuerySession, LeavesTheHostAsItWasWhenTheQueryRanOutOfMemory) {
  WatchMemory();
  EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);
  {
    TQuerySession session(Request());
    EXPECT_THROW(session.Run(Followers()), std::bad_alloc);
    EXPECT_GT(catalogue.count, 0) << "it came to its end";
    ExpectNobodyFollows(session);
  }
  WatchMemory();
  std::set_new_handler(nullptr);
  ExpectAllIsAsBefore();
}

TEST_F(QuerySession, ThatCannotReadItsInventoryLeavesNothing) {
  TQueryRequest request = Request();
  request.inventories = {"missing.xml"};
  EXPECT_THROW(TQuerySession(std::move(request)), TError);
  ExpectAllIsAsBefore();
}

// A catalogue that is missing and one that is broken are told apart by what is printed.
TEST_F(QuerySession, WithAnOutputThatSomebodyHasTakenHearsOnlyWhatItsOwnQueryPrints) {
  const auto outcomeOf = [](const std::string& catalogue, TCapturedOutput* output) {
    TQueryRequest request = Request();
    request.context[rules::kCatalogueEntry] = NQRXHSK20::TCIMValue(catalogue);
    TQuerySession session(std::move(request));
    session.Run({.output = output});
    report::TReport report;
    session.Conclude(report);
    return report.outcome;
  };
  const test::TTemporaryFolder folder;
  folder.Write("broken/index.xml", "<?sv-catalogue version=\"4.02\"?><CIM>");
  using enum report::EOutcome;
  const std::vector<report::EOutcome> expected = {kNoCatalogue, kUnreadableCatalogue, kDone};
  std::vector<report::EOutcome> outcomes;
  std::string rest;
  {
    TCapturedOutput output;
    for (const std::string& catalogue : {folder.Path() + "/missing", folder.Path() + "/broken",
                                         std::string(kSample) + "/catalogue"}) {
      outcomes.push_back(outcomeOf(catalogue, &output));
    }
    rest = output.Take();
  }
  EXPECT_EQ(outcomes, expected);
  EXPECT_EQ(rest, "");
}

TEST_F(QuerySession, StaysInTheDataFolderWhereItIsThere) {
  const std::filesystem::path folder = std::filesystem::current_path();
  std::filesystem::current_path(DATA_FOLDER);
  {
    TQuerySession session(Request());
    session.Run();
    EXPECT_GT(session.Records()->Count(), 0U);
    EXPECT_EQ(std::filesystem::current_path(), DATA_FOLDER);
  }
  std::filesystem::current_path(folder);
  ExpectAllIsAsBefore();
}

// Puts what is opened here in the place of standard input while it lives.
class TInput {
 public:
  explicit TInput(const char* path) : before(::dup(STDIN_FILENO)) {
    const int file = ::open(path, O_RDONLY);
    ::dup2(file, STDIN_FILENO);
    ::close(file);
    std::clearerr(stdin);
  }
  ~TInput() {
    ::dup2(before, STDIN_FILENO);
    ::close(before);
    std::clearerr(stdin);
  }
  TInput(const TInput&) = delete;
  TInput& operator=(const TInput&) = delete;

 private:
  int before;
};

TEST_F(QuerySession, SaysWhyStandardInputCannotBeRead) {
  TQueryRequest request = Request();
  request.inventories = {kStandardInput};
  const TInput input("/");
  try {
    TQuerySession session(std::move(request));
    FAIL() << "a folder is no inventory";
  } catch (const TError& error) {
    EXPECT_STREQ(error.what(),
                 "cannot read the inventory: standard input: Is a directory; give a CIM-XML "
                 "inventory, such as `svcheck collect` writes");
  }
  ExpectAllIsAsBefore();
}

}  // namespace
}  // namespace svc
