#include "svcheck/session/catalogue.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace svc {
namespace {

using acquire::TDownloadProgress;
using EPhase = TDownloadProgress::EPhase;
using std::chrono::milliseconds;

std::string Line(std::uint64_t bytes, std::uint64_t total, int running) {
  return DownloadLine({EPhase::kFiles, 3, 12, bytes, total}, milliseconds(running));
}

TEST(DownloadLine, SaysFilesBytesRateAndTimeLeft) {
  EXPECT_EQ(Line(1'258'291, 4'718'592, 1000), "3 of 12 files, 1.2 of 4.5 MiB, 1.2 MiB/s, 3 s left");
  EXPECT_EQ(Line(512, 1000, 1000), "3 of 12 files, 512 of 1000 B, 512 B/s, 1 s left");
  EXPECT_EQ(Line(1048576, 1073741824, 1000),
            "3 of 12 files, 0.0 of 1.0 GiB, 1.0 MiB/s, 18 min left");
  EXPECT_EQ(Line(1000, 1000, 1000), "3 of 12 files, 1000 of 1000 B, 1000 B/s, 0 s left");
}

TEST(DownloadLine, CountsSecondsUpToNinetyNineAndThenMinutesEachBegunOneWhole) {
  const auto left = [](std::uint64_t bytes) {
    const std::string line = Line(1, bytes + 1, 1000);  // One byte a second.
    return line.substr(line.find("/s, ") + 4);
  };
  EXPECT_EQ(left(99), "99 s left");
  EXPECT_EQ(left(100), "2 min left");
  EXPECT_EQ(left(120), "2 min left");
  EXPECT_EQ(left(121), "3 min left");
}

TEST(DownloadLine, HasARateFromHalfASecondOn) {
  EXPECT_EQ(Line(100, 1000, 499), "3 of 12 files, 100 of 1000 B");
  EXPECT_EQ(Line(100, 1000, 500), "3 of 12 files, 100 of 1000 B, 200 B/s, 5 s left");
}

TEST(SizeText, HasTheUnitInWhichItHasFewDigits) {
  constexpr std::uint64_t kKi = 1024;
  for (const auto& [bytes, text] :
       {std::pair(std::uint64_t{0}, "0 B"), std::pair(kKi - 1, "1023 B"), std::pair(kKi, "1.0 KiB"),
        std::pair(kKi * 3 / 2, "1.5 KiB"), std::pair(kKi * 99, "99.0 KiB"),
        std::pair(kKi * 100, "100 KiB"), std::pair(kKi * 1023, "1023 KiB"),
        std::pair(kKi * kKi, "1.0 MiB"), std::pair(kKi * kKi * kKi, "1.0 GiB"),
        std::pair(kKi * kKi * kKi * kKi, "1024 GiB")}) {
    EXPECT_EQ(SizeText(bytes), text);
  }
}

TEST(DownloadLine, GuessesNoRateAtTheBeginning) {
  EXPECT_EQ(Line(100, 1000, 100), "3 of 12 files, 100 of 1000 B");
  EXPECT_EQ(Line(0, 1000, 5000), "3 of 12 files, 0 of 1000 B");
}

TEST(DownloadLine, NamesTheOtherPhases) {
  EXPECT_EQ(DownloadLine({EPhase::kWaiting, 0, 0, 0, 0}, {}), "Waiting for the download folder");
  EXPECT_EQ(DownloadLine({EPhase::kListing, 0, 0, 0, 0}, {}), "Asking the repository");
  EXPECT_EQ(DownloadLine({EPhase::kEnded, 1, 1, 1, 1}, {}), "");
}

TEST(FilesNotOffered, AreTheDescriptionsThatStillLieThere) {
  using TNames = std::vector<std::string>;
  const test::TTemporaryFolder folder;
  acquire::TOutcome outcome;
  outcome.offered = {"new.xml"};
  EXPECT_EQ(FilesNotOffered(outcome), TNames()) << "there is no folder";
  for (const char* name : {"new.xml", "old.xml", "older.xml.sig", "readme.txt", ".lock"})
    folder.Write("c/QRX_Support/SV/" + std::string(name), "x");
  TNames found = FilesNotOffered(outcome);
  std::ranges::sort(found);
  EXPECT_EQ(found, (TNames{"old.xml", "older.xml.sig"}));
  outcome.offered = TNames();
  EXPECT_EQ(FilesNotOffered(outcome).size(), 3U);
  outcome.offered.reset();
  EXPECT_EQ(FilesNotOffered(outcome), TNames()) << "nothing was downloaded";
}

// All that is shown of steps that follow each other at once.
std::string ShownOf(const std::vector<TDownloadProgress>& steps) {
  // Closed behind the display, which clears its line in the end.
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::tmpfile(), &std::fclose);
  TDownloadDisplay display(file.get());
  for (const TDownloadProgress& step : steps) display.OnProgress(step);
  std::rewind(file.get());
  char text[200] = {};
  const std::size_t size = std::fread(text, 1, sizeof text, file.get());
  return {text, size};
}

TEST(DownloadDisplay, LeavesAnEmptyLine) {
  EXPECT_EQ(ShownOf({{EPhase::kListing, 0, 0, 0, 0}, {EPhase::kEnded, 0, 0, 0, 0}}),
            "\rAsking the repository\r" + std::string(21, ' ') + "\r");
}

TEST(DownloadDisplay, CountsTheTimeOfTheFilesFromTheirFirstOne) {
  EXPECT_EQ(ShownOf({{EPhase::kFiles, 1, 2, 100, 1000}}), "\r1 of 2 files, 100 of 1000 B")
      << "and no rate, which all time before it would make very low";
}

TEST(DownloadDisplay, ShowsTheBeginningOfEachPhaseAndNotEachStepOfOne) {
  EXPECT_EQ(ShownOf({{EPhase::kListing, 0, 0, 0, 0},
                     {EPhase::kFiles, 0, 2, 0, 1000},
                     {EPhase::kFiles, 1, 2, 100, 1000}}),
            "\rAsking the repository\r0 of 2 files, 0 of 1000 B");
}

}  // namespace
}  // namespace svc
