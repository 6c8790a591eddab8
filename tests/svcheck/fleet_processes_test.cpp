// Workers as processes of this system, and what is said where it refuses one. The program that
// holds this is linked so that the calls that may be refused come here first.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>

#include "base/error.h"
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

}  // namespace
}  // namespace svc::fleet
