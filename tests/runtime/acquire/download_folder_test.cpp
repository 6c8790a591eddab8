#include "runtime/acquire/download_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>

#include "runtime/acquire/crypto.h"
#include "tests/support/fake_transport.h"
#include "tests/support/temporary_folder.h"

namespace svc::acquire {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

class DownloadFolder : public testing::Test {
 protected:
  std::unique_ptr<TDownloadFolder> Open(milliseconds limit = milliseconds(1000),
                                        const std::string& path = "SV") {
    return std::make_unique<TDownloadFolder>(path, limit, watch);
  }
  static TManifestFile File(const std::string& content) {
    TManifestFile file;
    file.name = "one.xml";
    file.size = content.size();
    file.sha256 = ToHex(Hash(EHash::kSha256, content));
    return file;
  }

  test::TTemporaryFolder folder;
  TFakeTime time;
  bool isStopped = false;
  TWatch watch{[this] { return isStopped; }, std::chrono::hours(1), time};
};

TEST_F(DownloadFolder, HasAFileOfThatContentAlone) {
  const auto download = Open();
  EXPECT_FALSE(download->Has(File("0123456789"), watch));
  folder.Write("SV/one.xml", "0123456789");
  EXPECT_TRUE(download->Has(File("0123456789"), watch));
  for (const char* other : {"012345678", "0123456789x", "012345678x", "", "9876543210"})
    EXPECT_FALSE(download->Has(File(other), watch)) << other;
  TManifestFile lying = File("0123456789");
  lying.size = 9;
  EXPECT_FALSE(download->Has(lying, watch));
  lying.size = 4294967306;
  EXPECT_FALSE(download->Has(lying, watch));
}

TEST_F(DownloadFolder, AFileIsReadBlockByBlockWhateverHappenedBefore) {
  folder.Write("file", std::string(70'000, 'x'));
  TPlainFile file("file");
  std::string buffer;
  std::vector<std::size_t> sizes;
  for (int i = 0; i < 3; ++i) {
    errno = EINTR;
    sizes.push_back(file.Read(buffer).size());
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{65536, 4464, 0}));
}

TEST_F(DownloadFolder, HasAFileThatTakesMoreThanOneReadOnlyWhereItsEndIsRight) {
  std::string content(200'000, 'x');
  const auto download = Open();
  folder.Write("SV/one.xml", content);
  EXPECT_TRUE(download->Has(File(content), watch));
  content.back() = 'y';
  EXPECT_FALSE(download->Has(File(content), watch));
}

TEST_F(DownloadFolder, TakesNoLinkNorFolderNorPipeForAFile) {
  const auto download = Open();
  folder.Write("elsewhere.xml", "0123456789");
  fs::create_symlink("../elsewhere.xml", "SV/one.xml");
  EXPECT_FALSE(download->Has(File("0123456789"), watch));
  fs::remove("SV/one.xml");
  fs::create_directory("SV/one.xml");
  EXPECT_FALSE(download->Has(File(""), watch));
  fs::remove("SV/one.xml");
  ASSERT_EQ(mkfifo("SV/one.xml", 0600), 0);
  EXPECT_FALSE(download->Has(File(""), watch));
}

TEST_F(DownloadFolder, ClearsWhatAKilledDownloadLeftAndLeavesNothing) {
  folder.Write("SV.part/7", "half a file");
  folder.Write("SV/kept.xml", "whole");
  {
    const auto download = Open();
    EXPECT_FALSE(folder.Holds("SV.part"));
    EXPECT_NE(download->NextStagedPath(), download->NextStagedPath());
    EXPECT_TRUE(folder.Holds("SV.part"));
    folder.Write("SV.part/1", "half a file");
  }
  EXPECT_FALSE(folder.Holds("SV.part"));
  EXPECT_TRUE(folder.Holds("SV/kept.xml"));
}

TEST_F(DownloadFolder, LiesBesideItsNeighboursHoweverItIsWritten) {
  for (const char* path : {"SV", "SV/", "SV//", "SV\\"}) {
    const auto download = Open(milliseconds(0), path);
    EXPECT_EQ(download->NextStagedPath(), "SV.part/1") << path;
    EXPECT_EQ(download->PathOf(File("")), "SV/one.xml") << path;
  }
}

TEST_F(DownloadFolder, WaitsForAnotherDownloadWithinABound) {
  const auto first = Open();
  const auto before = time.Now();
  try {
    Open(milliseconds(1000));
    FAIL();
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kLocked);
    EXPECT_NE(std::string(failure.what()).find("SV.lock"), std::string::npos);
  }
  EXPECT_GT(time.Now() - before, milliseconds(1000));
  EXPECT_LE(time.Now() - before, milliseconds(1050));
}

TEST_F(DownloadFolder, IsTheNextDownloadsWhenTheFirstHasEnded) {
  Open();
  EXPECT_NO_THROW(Open(milliseconds(0)));
}

TEST_F(DownloadFolder, StopsWaitingWhenItIsToldTo) {
  const auto first = Open();
  isStopped = true;
  try {
    Open();
    FAIL();
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kInterrupted);
  }
}

TEST_F(DownloadFolder, IsNotTakenWhereAFileStands) {
  folder.Write("SV", "a file");
  try {
    Open();
    FAIL();
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kFolderUnwritable);
  }
}

}  // namespace
}  // namespace svc::acquire
