// Workers as processes of this system, and what is said where it refuses one. The program that
// holds this is linked so that the calls that may be refused come here first.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "base/error.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/fleet/workers.h"

namespace {

// A call that fails once with an error, after as many that do not.
struct TRefusal {
  int error = 0;
  int after = 0;

  bool IsNow() {
    if (error == 0 || after-- > 0) return false;
    errno = std::exchange(error, 0);
    return true;
  }
};
TRefusal copying, reaching, hearing;

}  // namespace

extern "C" {

pid_t __real_fork();
int __real_socketpair(int domain, int type, int protocol, int* ends);
int __real_poll(pollfd* polled, nfds_t count, int wait);

pid_t __wrap_fork() { return copying.IsNow() ? -1 : __real_fork(); }

int __wrap_socketpair(int domain, int type, int protocol, int* ends) {
  return reaching.IsNow() ? -1 : __real_socketpair(domain, type, protocol, ends);
}

int __wrap_poll(pollfd* polled, nfds_t count, int wait) {
  return hearing.IsNow() ? -1 : __real_poll(polled, count, wait);
}

}  // extern "C"

namespace svc::fleet {
namespace {

std::unique_ptr<IWorkers> Start(int jobs) {
  TCheckSettings settings;
  settings.query.dataFolder = DATA_FOLDER;
  settings.query.plugin = PLUGIN;
  settings.catalogue = DATA_FOLDER "/sample/catalogue";
  return StartWorkers(jobs, std::chrono::seconds(0), settings);
}

TTask Sample() { return {"m", TTask::EInventory::kFile, DATA_FOLDER "/sample/inventory.xml"}; }

// That this process has.
std::ptrdiff_t OpenSockets() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return std::count_if(begin(files), end(files), [](const auto& file) {
    std::error_code ignored;
    return std::filesystem::read_symlink(file, ignored).string().starts_with("socket:");
  });
}

template <typename TStep>
std::string FailureOf(const TStep& step) {
  try {
    step();
    return "";
  } catch (const TError& error) {
    return error.what();
  }
}

TEST(FleetProcesses, CompareAMachineEach) {
  const auto workers = Start(2);
  workers->Give(0, Sample());
  const TAnswer answer = workers->Wait();
  EXPECT_EQ(answer.number, 0U);
  EXPECT_NE(answer.text.find("{\"machine\":\"m\",\"Type\":"), std::string::npos) << answer.text;
  EXPECT_NE(answer.text.find("\"outcome\":\"done\""), std::string::npos) << answer.text;
}

TEST(FleetProcesses, ThatTheSystemRefusesToStartAreNamedWithItsReason) {
  const std::ptrdiff_t before = OpenSockets();
  for (const int after : {0, 1}) {
    copying = {EAGAIN, after};
    EXPECT_EQ(FailureOf([] { Start(2); }),
              "cannot start a worker process: Resource temporarily unavailable; give fewer --jobs");
    EXPECT_EQ(copying.error, 0) << "it was tried";
    EXPECT_EQ(OpenSockets(), before) << after;
    reaching = {EMFILE, after};
    EXPECT_EQ(FailureOf([] { Start(2); }),
              "cannot reach a worker process: Too many open files; give fewer --jobs");
    EXPECT_EQ(reaching.error, 0);
    EXPECT_EQ(OpenSockets(), before) << after;
  }
}

TEST(FleetProcesses, AreHeardAgainAfterASignalAndNotAfterAnythingElse) {
  const auto workers = Start(1);
  workers->Give(0, Sample());
  hearing = {EINTR, 0};
  EXPECT_EQ(workers->Wait().number, 0U);
  EXPECT_EQ(hearing.error, 0);
  workers->Give(1, Sample());
  hearing = {ENOMEM, 0};
  EXPECT_EQ(FailureOf([&] { workers->Wait(); }),
            "cannot hear a worker process: Cannot allocate memory; give fewer --jobs");
}

// Of this process, those that are there.
std::vector<pid_t> Children() {
  const std::string self = std::to_string(::getpid());
  std::ifstream list("/proc/self/task/" + self + "/children");
  std::vector<pid_t> children;
  for (pid_t child = 0; list >> child;) children.push_back(child);
  return children;
}

TEST(FleetProcesses, ThatEndBySignalAreNamedWithItAndReplaced) {
  const auto workers = Start(1);
  const std::vector<pid_t> first = Children();
  ASSERT_EQ(first.size(), 1U);
  ASSERT_EQ(::kill(first[0], SIGSTOP), 0);
  workers->Give(0, Sample());
  ASSERT_EQ(::kill(first[0], SIGKILL), 0);
  const auto errors = report::TReport(ReportOf(workers->Wait().text)).errors;
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors[0], "the process that compared this machine ended by signal 9 (Killed)");
  const std::vector<pid_t> second = Children();
  ASSERT_EQ(second.size(), 1U) << "the one that ended was waited for";
  EXPECT_NE(second[0], first[0]);
  workers->Give(1, Sample());
  EXPECT_NE(workers->Wait().text.find("\"outcome\":\"done\""), std::string::npos);
}

TEST(FleetProcesses, AreEndedWithWhoeverGaveThemTasks) {
  const std::ptrdiff_t before = OpenSockets();
  {
    const auto workers = Start(3);
    EXPECT_EQ(Children().size(), 3U);
    EXPECT_EQ(OpenSockets(), before + 3);
    workers->Give(0, Sample());
  }
  EXPECT_EQ(Children().size(), 0U);
  EXPECT_EQ(OpenSockets(), before);
}

TEST(FleetProcesses, EndAtSignalsThatEndOthersWhateverTheirProgramDoesAtThem) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const auto before = ::signal(number, SIG_IGN);
    const auto workers = Start(1);
    ::signal(number, before);
    workers->Give(0, Sample());
    workers->Wait();  // It has begun.
    ASSERT_EQ(::kill(Children().at(0), number), 0);
    workers->Give(1, Sample());
    const std::string answer = workers->Wait().text;
    EXPECT_NE(answer.find("ended by signal " + std::to_string(number) + " ("), std::string::npos)
        << answer;
  }
}

TEST(FleetProcesses, TakeInventoriesThatNoSocketTakesAtOnce) {
  const auto workers = Start(1);
  const std::string text = "<CIM><!--" + std::string(std::size_t{5} << 20, 'x') +
                           "--><DECLARATION><DECLGROUP/></DECLARATION></CIM>";
  workers->Give(0, {"large", TTask::EInventory::kDocument, text});
  workers->Give(1, Sample());
  EXPECT_NE(workers->Wait().text.find("{\"machine\":\"large\",\"outcome\":\"unknown-machine\""),
            std::string::npos);
  EXPECT_NE(workers->Wait().text.find("\"outcome\":\"done\""), std::string::npos);
}

}  // namespace
}  // namespace svc::fleet
