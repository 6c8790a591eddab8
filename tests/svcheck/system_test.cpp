// What the program asks of its system, and what it does where the system refuses.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "svcheck/session/report_files.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"
#include "tests/support/temporary_folder.h"

namespace svc {
namespace {

// Ends the process: with 0 when it says that standard output is lost.
[[noreturn]] void LoseStandardOutput() {
  ::alarm(20);  // It may not try without end.
  constexpr int kFirst = 3, kMost = 256;
  TCapturedOutput output;
  for (int file = kFirst; file < kMost; ++file) ::close(file);
  try {
    output.Take();
  } catch (const TError& failure) {
    std::fputs(failure.what(), stderr);
    ::_exit(0);
  }
  ::_exit(1);
}

TEST(CapturedOutput, ThatCannotBeGivenBackIsAFailure) {
  EXPECT_EXIT(LoseStandardOutput(), testing::ExitedWithCode(0),
              "^standard output cannot be given back: Bad file descriptor; start the check again$");
}

TEST(CapturedOutput, IsTakenPartByPart) {
  std::vector<std::string> taken;
  {
    TCapturedOutput output;
    std::printf("%s", std::string(9000, 'x').c_str());
    taken.push_back(output.TakeSoFar());
    taken.push_back(output.TakeSoFar());
    std::printf("another");
    taken.push_back(output.TakeSoFar());
    std::printf("and ");
    std::fflush(stdout);
    std::printf("the rest");
    taken.push_back(output.Take());
  }
  EXPECT_EQ(taken,
            (std::vector<std::string>{std::string(9000, 'x'), "", "another", "and the rest"}));
}

TEST(FilesOfPersons, AreLetGoOfOnceTheyAreRead) {
  const test::TTemporaryFolder folder;
  folder.Write("waivers.toml", "[[waiver]]\nname = \"X\"\nreason = \"held back\"\n");
  folder.Write("broken.json", "{");
  const auto lowestFree = [] {
    const int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(file);
    return file;
  };
  const int before = lowestFree();
  EXPECT_EQ(LoadWaivers(folder.Path() + "/waivers.toml").size(), 1U);
  EXPECT_EQ(lowestFree(), before);
  EXPECT_THROW(LoadReport(folder.Path() + "/broken.json"), TError);
  EXPECT_EQ(lowestFree(), before);
}

TEST(StatusOf, AKindIsWhatManualAndScriptsGoBy) {
  EXPECT_EQ(StatusOf(TError("broken")), 1);
  EXPECT_EQ(StatusOf(FileError(ENOSPC)), 1);
  EXPECT_EQ(StatusOf(TextError(64, "no version")), 1);
  EXPECT_EQ(StatusOf(TError("unreachable", EErrorKind::kDownload, 20)), 1);
  EXPECT_EQ(StatusOf(TError("unknown", EErrorKind::kUnknown)), 3);
  EXPECT_EQ(StatusOf(TError("not there", EErrorKind::kCatalogue)), 4);
  EXPECT_EQ(StatusOf(TError("unsigned", EErrorKind::kRepository, 30)), 4);
  EXPECT_EQ(StatusOf(TError("no such option", EErrorKind::kUsage)), 64);
  EXPECT_EQ(StatusOf(std::runtime_error("of another's")), 1);
}

TEST(StatusOfRun, IsTheActionsOrThatOfItsFailureWithTheReason) {
  std::vector<std::string> reasons;
  const auto report = [&reasons](const std::string& reason) { reasons.push_back(reason); };
  EXPECT_EQ(StatusOfRun([] { return kExitCondition; }, report), kExitCondition);
  EXPECT_TRUE(reasons.empty());
  const auto refuse = []() -> int { throw TError("no such verb", EErrorKind::kUsage); };
  EXPECT_EQ(StatusOfRun(refuse, report), kExitUsage);
  const auto exhaust = []() -> int { throw std::bad_alloc(); };
  EXPECT_EQ(StatusOfRun(exhaust, report), kExitFailure);
  EXPECT_EQ(reasons, (std::vector<std::string>{
                         "no such verb", "out of memory; free some, or give a smaller catalogue"}));
}

TEST(KindOfStatus, TellsEachFailureThatHasAStatusOfItsOwn) {
  for (const auto kind :
       {EErrorKind::kFailure, EErrorKind::kUsage, EErrorKind::kCatalogue, EErrorKind::kUnknown})
    EXPECT_EQ(KindOfStatus(StatusOf(kind)), kind) << StatusOf(kind);
  EXPECT_EQ(KindOfStatus(0), EErrorKind::kFailure);
  EXPECT_EQ(KindOfStatus(5), EErrorKind::kFailure);
}

TEST(OthersMayWrite, WhereTheFileIsNeitherTheUsersNorRoots) {
  const test::TTemporaryFolder folder;
  folder.Write("settings", "");
  const std::string path = folder.Path() + "/settings";
  std::FILE* const file = std::fopen(path.c_str(), "r");
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(OthersMayWrite(file));
  if (::geteuid() == 0) {
    for (const uid_t other : {1, 65534}) {
      ASSERT_EQ(::chown(path.c_str(), other, 0), 0);
      EXPECT_TRUE(OthersMayWrite(file)) << other;
    }
  }
  std::fclose(file);
}

}  // namespace
}  // namespace svc
