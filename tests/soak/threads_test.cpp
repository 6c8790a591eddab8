// Queries at once in one process, each on its own namespaces, and all of them into one log.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/logging.h"
#include "tests/soak/queries.h"

namespace svc::test {
namespace {

constexpr int kThreads = 4;
constexpr int kQueriesOfEach = 10;
constexpr int kTrace = 4;

class TLog {
 public:
  TLog()
      : path(testing::TempDir() + "/threads " + std::to_string(::getpid()) + ".log"),
        logger(TJsonLogger::Open(path, kTrace, [](const std::string&) {})) {
    InstallLogger(logger);
  }
  ~TLog() {
    InstallLogger({});
    std::remove(path.c_str());
  }
  TLog(const TLog&) = delete;
  TLog& operator=(const TLog&) = delete;

  std::vector<std::string> Lines() const {
    EXPECT_TRUE(logger->Flush());
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }
  TJsonLogger& Logger() const { return *logger; }

 private:
  std::string path;
  boost::shared_ptr<TJsonLogger> logger;
};

template <typename TWork>
void AtOnce(TWork work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([work, i] { work(i); });
  for (std::thread& thread : threads) thread.join();
}

TEST(Threads, QueriesAtOnceDeliverWhatEachDeliversAlone) {
  const TQueries queries;
  const std::vector<std::string> expected = queries.RunQuery();
  std::atomic<int> right{0};
  AtOnce([&](int) {
    for (int i = 0; i < kQueriesOfEach; ++i) right += queries.RunQuery() == expected;
  });
  EXPECT_EQ(right, kThreads * kQueriesOfEach);
}

TEST(Threads, QueriesAtOnceLogEveryLineWhole) {
  const TQueries queries;
  const TLog log;
  queries.RunQuery();
  const std::size_t ofOne = log.Lines().size();
  ASSERT_GT(ofOne, 100U);
  AtOnce([&](int) { queries.RunQuery(); });
  const std::vector<std::string> lines = log.Lines();
  EXPECT_EQ(lines.size(), ofOne * (kThreads + 1));
  for (const std::string& line : lines) {
    ASSERT_TRUE(line.starts_with("{\"level\":") && line.ends_with("\"}")) << line;
  }
}

TEST(Threads, ALoggerUnderLoadKeepsTheOrderOfEachThread) {
  constexpr int kEntries = 5000;
  const TLog log;
  AtOnce([&](int thread) {
    for (int i = 0; i < kEntries; ++i) {
      log.Logger().Log(i % (kTrace + 1), std::to_string(thread) + ' ' + std::to_string(i));
    }
  });
  std::vector<int> next(kThreads);
  for (const std::string& line : log.Lines()) {
    const std::string message = line.substr(line.rfind(":\"") + 2);
    const auto thread = static_cast<std::size_t>(message[0] - '0');
    ASSERT_EQ(message, std::to_string(thread) + ' ' + std::to_string(next[thread]++) + "\"}");
  }
  EXPECT_EQ(next, std::vector<int>(kThreads, kEntries));
}

}  // namespace
}  // namespace svc::test
