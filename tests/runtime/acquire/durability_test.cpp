// What a power cut may leave of a download: each name appears for good after the bytes behind it.
#include <gtest/gtest.h>

#include <cerrno>

#include "fetching.h"
#include "recorded_calls.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/download_folder.h"
#include "runtime/acquire/fetcher.h"
#include "tests/support/temporary_folder.h"

namespace svc::acquire {
namespace {

using test::FailNextSync;
using test::RecordedCalls;
using TCalls = std::vector<std::string>;

class Durability : public testing::Test {
 protected:
  Durability() { RecordedCalls().clear(); }

  // What was called since.
  static TCalls Calls() {
    TCalls calls = std::move(RecordedCalls());
    RecordedCalls().clear();
    return calls;
  }
  template <typename TAct>
  static EOutcome OutcomeOf(TAct act) {
    try {
      act();
      return EOutcome::kDone;
    } catch (const TError& failure) {
      return acquire::OutcomeOf(failure);
    }
  }

  test::TTemporaryFolder folder;
};

TEST_F(Durability, OfAFolderIsThatOfEachNameOnTheWayToIt) {
  MakeFolders(folder.Path() + "/a/b");
  EXPECT_EQ(Calls(), (TCalls{"mkdir a", "fsync .", "mkdir a/b", "fsync a"}));
  MakeFolders(folder.Path() + "/a/b");
  EXPECT_EQ(Calls(), TCalls{});
}

TEST_F(Durability, OfAFileComesBeforeThatOfItsName) {
  TStagedFile file("staged");
  file.Write("text");
  file.Publish("published");
  EXPECT_EQ(Calls(), (TCalls{"fsync staged", "rename staged published"}));
}

TEST_F(Durability, ThatTheDiskRefusesPublishesNothing) {
  for (const auto& [error, outcome] : {std::pair(EIO, EOutcome::kFolderUnwritable),
                                       {EDQUOT, EOutcome::kDiskFull},
                                       {ENOSPC, EOutcome::kDiskFull}}) {
    TStagedFile file("staged");
    file.Write("text");
    FailNextSync(error);
    EXPECT_EQ(OutcomeOf([&] { file.Publish("published"); }), outcome);
    EXPECT_EQ(Calls(), (TCalls{"fsync staged"}));
  }
  EXPECT_FALSE(folder.Holds("staged"));
}

TEST_F(Durability, OfAFolderIsAskedForAndMayBeNone) {
  SyncFolder(".");
  EXPECT_EQ(Calls(), (TCalls{"fsync ."}));
  FailNextSync(EINVAL);
  EXPECT_EQ(OutcomeOf([] { SyncFolder("."); }), EOutcome::kDone);
  FailNextSync(EIO);
  EXPECT_EQ(OutcomeOf([] { SyncFolder("."); }), EOutcome::kFolderUnwritable);
}

TEST_F(Durability, OfTheLastSerialIsThereBeforeAnythingIsTaken) {
  TSerialStore store("state", "http://server/sv");
  store.Accept(7);
  const TCalls calls = Calls();
  ASSERT_EQ(calls.size(), 7U);
  EXPECT_EQ(TCalls(calls.begin(), calls.begin() + 4),
            (TCalls{"mkdir state", "fsync .", "mkdir state/repositories", "fsync state"}));
  EXPECT_TRUE(calls[4].starts_with("fsync state/repositories/")) << calls[4];
  EXPECT_TRUE(calls[5].starts_with("rename " + calls[4].substr(6) + " state/repositories/"));
  EXPECT_TRUE(calls[5].ends_with(".json")) << calls[5];
  EXPECT_EQ(calls[6], "fsync state/repositories");
}

TEST_F(Durability, OfAnOlderNoteLastsUntilTheNewOneIsThereForGood) {
  folder.Write("state/repositories/old.json", R"({"repository":"HTTP://server/sv","serial":7})");
  TSerialStore store("state", "http://server/sv");
  FailNextSync(EIO);
  EXPECT_EQ(OutcomeOf([&] { store.Accept(8); }), EOutcome::kStateUnusable);
  EXPECT_TRUE(folder.Holds("state/repositories/old.json"));
  store.Accept(8);
  EXPECT_FALSE(folder.Holds("state/repositories/old.json"));
}

// As a download does it, from the first folder to the last name.
TEST_F(Durability, OfADownloadIsThatOfEachFileAndOfTheNamesOfAll) {
  TFetching fetching;
  const TWatch watch({}, fetching.limits.total, fetching.time);
  const TDownloadJob job;
  struct TSilent : KPLAcquistion::AcquireCallbackIfc {
    void onStatus(std::int32_t, const std::string&, std::int32_t) override {}
  } callback;
  TProgressReport report(job, callback);
  TDownloadFolder download("drive/SV/", std::chrono::seconds(1), watch);
  EXPECT_EQ(Calls(), (TCalls{"mkdir drive", "fsync .", "mkdir drive/SV", "fsync drive"}));

  TManifestFile file;
  file.name = "one.xml";
  file.path = "one";
  file.size = 10;
  file.sha256 = ToHex(Hash(EHash::kSha256, "0123456789"));
  TFileTarget target(file, download.NextStagedPath(), download.PathOf(file), report);
  EXPECT_EQ(Calls(), (TCalls{"mkdir drive/SV.part", "fsync drive"}));
  fetching.Script({Cut(4), Part(4, "456789")});
  EXPECT_EQ(OutcomeOf([&] {
              if (auto failure = fetching.Fetch({&target})) throw *failure;
            }),
            EOutcome::kDone);
  download.Sync();
  EXPECT_EQ(Calls(), (TCalls{"fsync drive/SV.part/1", "rename drive/SV.part/1 drive/SV/one.xml",
                             "fsync drive/SV"}));
  EXPECT_TRUE(download.Has(file, watch));
}

}  // namespace
}  // namespace svc::acquire
