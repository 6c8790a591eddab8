#include "plugins/version_checker/inventory/inventory_operations.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/fake_host.h"

using svc::test::TFakeHost;
using svc::test::TLog;
using namespace svc::checker;

namespace {

TEST(Trace, LevelsOfTheHost) {
  TFakeHost host;
  LogError("e");
  LogWarning("w");
  LogProgress("p");
  LogTrace("t");
  LogJoined(3, {"a", "", "b"});
  EXPECT_EQ(host.logger.Entries(), TLog({{0, "e"}, {1, "w"}, {3, "p"}, {4, "t"}, {3, "ab"}}));
}

TEST(Trace, JoinedEntryOfALevelThatIsNotKeptIsNotMade) {
  TFakeHost host;
  host.logger.Keep(3);
  LogJoined(4, {"a", "b"});
  EXPECT_TRUE(host.logger.Entries().empty());
}

TEST(StandardOutput, MessageStandsAfterABlankLine) {
  testing::internal::CaptureStdout();
  PrintMessage("     Warning: 100% sure");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n     Warning: 100% sure\n");
}

// Also when the process ends without a word, as it does when a query trips an assertion.
TEST(StandardOutput, MessageIsThereAtOnce) {
  testing::internal::CaptureStdout();
  const pid_t child = ::fork();
  if (child == 0) {
    PrintMessage("a message");
    ::_exit(0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\na message\n");
}

}  // namespace
