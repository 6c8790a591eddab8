// How tasks are shared out among workers that answer, end, talk nonsense or stay silent.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "svcheck/fleet/machine_check.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/fleet/workers.h"

namespace svc::fleet {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// What the workers of one test have in common.
struct TWorld {
  int started = 0;
  int killed = 0;
  int alive = 0;
  std::chrono::steady_clock::time_point now{};
  milliseconds oversleep{0};        // Beyond what was asked for.
  milliseconds longest{0};          // That was asked for.
  std::vector<std::string> worked;  // Names of the machines, as the workers took them up.
};

// Hands out what was sent in pieces of at most so many bytes.
class TPieces : public ITaskChannel {
 public:
  TPieces(std::string sent, std::size_t most) : sent(std::move(sent)), most(most) {}
  std::size_t Read(char* block, std::size_t size) override {
    EXPECT_GT(size, 0U);
    const std::size_t count = std::min({size, most, sent.size() - at});
    sent.copy(block, count, at);
    at += count;
    return count;
  }
  bool Write(std::string_view /*bytes*/) override { return false; }

 private:
  std::string sent;
  std::size_t most;
  std::size_t at = 0;
};

TEST(FleetFrames, ComeOutAsTheyWereSentInWhateverPieces) {
  std::vector<std::string> texts;
  for (const std::size_t size : {0U, 1U, 150'000U, 262'136U, 262'137U, 524'288U, 3U, 1'500'000U,
                                 524'280U, 0U, 400'000U, 400'000U, 7U}) {
    texts.emplace_back(size, static_cast<char>('a' + texts.size()));
  }
  std::string sent;
  for (const std::string& text : texts) AppendFrame(sent, text);
  for (const std::size_t most : {997UL, 65'536UL, 262'144UL, 524'288UL, sent.size()}) {
    TPieces pieces(sent + "\x09", most);  // The last frame is cut.
    TFrameReader reader(pieces);
    for (const std::string& text : texts) ASSERT_EQ(reader.Next(), text) << most;
    EXPECT_FALSE(reader.Next());
  }
}

// Does with a task what the machine's name says.
class TFakeWorker : public IWorkerProcess {
 public:
  explicit TFakeWorker(TWorld& world) : world(world) { ++world.alive; }
  ~TFakeWorker() override { --world.alive; }

  bool HasBegun() const override { return true; }
  void Send(std::string& bytes) override {
    received += bytes;
    bytes.clear();
  }
  bool Receive(std::string& bytes) override {
    bytes += answers;
    answers.clear();
    return !hasEnded;
  }
  std::string CauseOfEnd() override {
    EXPECT_TRUE(hasEnded);
    return "it ended";
  }
  void Kill() override { ++world.killed; }

  // False when it has nothing to say.
  bool Work() {
    std::string_view rest = received;
    const auto body = isSilent || hasEnded ? std::nullopt : TakeFrame(rest);
    if (!body) return hasEnded;
    const TTask task = TaskOfBody(*body);
    received.erase(0, received.size() - rest.size());
    Answer(task.machine);
    return !isSilent;
  }

 private:
  void Answer(const std::string& machine) {
    world.worked.push_back(machine);
    isSilent = machine == "silent" || machine == "stutter";
    hasEnded = machine == "crash" || machine == "half";
    if (machine == "huge") AppendLength(answers, kMostAnswer + 1);
    if (machine == "long") AppendLength(answers, kMostAnswer);
    if (machine == "stutter") answers += "12345678too";
    if (machine == "half") answers += "12345678too short";
    if (isSilent || hasEnded || machine == "huge" || machine == "long") return;
    AppendFrame(answers, "answer of " + machine);
    if (machine == "twice") AppendFrame(answers, "more");
    if (machine == "twice by a byte") answers += 'x';
  }

  TWorld& world;
  std::string received;
  std::string answers;
  bool isSilent = false;
  bool hasEnded = false;
};

class TFakeSystem : public IWorkerSystem {
 public:
  explicit TFakeSystem(TWorld& world) : world(world) {}
  std::unique_ptr<IWorkerProcess> Start() override {
    ++world.started;
    return std::make_unique<TFakeWorker>(world);
  }
  std::chrono::steady_clock::time_point Now() const override { return world.now; }
  void Wait(std::vector<TAwaited>& awaited, std::optional<milliseconds> most) override {
    bool isAny = false;
    for (TAwaited& one : awaited) {
      one.isReady = static_cast<TFakeWorker*>(one.process)->Work();
      isAny |= one.isReady;
    }
    if (isAny) return;
    if (!most) throw std::logic_error("nobody will ever answer");
    world.longest = std::max(world.longest, *most);
    world.now += *most + world.oversleep;
  }

 private:
  TWorld& world;
};

class FleetWorkers : public testing::Test {
 protected:
  std::unique_ptr<IWorkers> Make(int jobs, const TWorkerLimits& limits = {}) {
    return MakeWorkers(jobs, std::make_unique<TFakeSystem>(world), limits);
  }
  static TTask Task(const std::string& machine, const std::string& text = "x") {
    return {machine, TTask::EInventory::kDocument, text};
  }
  // The answers by the numbers of their tasks.
  static std::map<std::uint64_t, std::string> RunAll(IWorkers& workers,
                                                     const std::vector<std::string>& machines) {
    std::map<std::uint64_t, std::string> answers;
    std::size_t given = 0;
    while (given < machines.size() || !workers.IsIdle()) {
      while (given < machines.size() && workers.HasRoom()) {
        workers.Give(given, Task(machines[given]));
        ++given;
      }
      TAnswer answer = workers.Wait();
      EXPECT_TRUE(answers.emplace(answer.number, std::move(answer.text)).second);
    }
    return answers;
  }
  static std::string CauseIn(const std::string& answer) {
    const auto errors = ReportOf(answer).errors;
    return errors.empty() ? "" : errors.front();
  }

  TWorld world;
};

TEST_F(FleetWorkers, AnswerEachTaskOnceUnderItsNumber) {
  std::vector<std::string> machines;
  for (int i = 0; i < 50; ++i) machines.push_back("m" + std::to_string(i));
  const auto answers = RunAll(*Make(3), machines);
  ASSERT_EQ(answers.size(), machines.size());
  for (const auto& [number, text] : answers) EXPECT_EQ(text, "answer of " + machines[number]);
  EXPECT_EQ(world.started, 3);
  EXPECT_EQ(world.killed, 0);
  EXPECT_EQ(world.alive, 0);
}

TEST_F(FleetWorkers, ThatEndCostTheMachineTheyWereAtAndNoOther) {
  for (const char* how : {"crash", "half"}) {
    world = {};
    const auto answers = RunAll(*Make(1), {"a", how, "b", how, how, "c"});
    ASSERT_EQ(answers.size(), 6U) << how;
    for (const std::uint64_t lost : {1, 3, 4}) {
      EXPECT_EQ(CauseIn(answers.at(lost)), "it ended") << how;
      EXPECT_EQ(MachineOf(answers.at(lost)), how);
    }
    EXPECT_EQ(answers.at(0), "answer of a");
    EXPECT_EQ(answers.at(2), "answer of b");
    EXPECT_EQ(answers.at(5), "answer of c");
    EXPECT_EQ(world.started, 4) << how;
    EXPECT_EQ(world.worked, (std::vector<std::string>{"a", how, "b", how, how, "c"}));
    EXPECT_EQ(world.killed, 0) << how;
  }
}

TEST_F(FleetWorkers, ThatTalkNonsenseAreReplaced) {
  for (const char* how : {"twice", "twice by a byte", "huge"}) {
    world = {};
    const auto workers = Make(1);
    workers->Give(0, Task(how));
    EXPECT_EQ(CauseIn(workers->Wait().text),
              "the process that compared this machine answered what cannot be read");
    EXPECT_TRUE(workers->IsIdle()) << how;
    workers->Give(1, Task("b"));
    EXPECT_EQ(workers->Wait().text, "answer of b") << "and not what was said before";
    EXPECT_EQ(world.killed, 1) << how;
    EXPECT_EQ(world.started, 2) << how;
    EXPECT_EQ(world.alive, 1) << how;
  }
  world = {};
  const auto answers = RunAll(*Make(1), {"a", "huge", "b"});
  EXPECT_EQ(answers.at(0), "answer of a");
  EXPECT_EQ(answers.at(2), "answer of b");
}

TEST_F(FleetWorkers, MayAnnounceWhatMemoryCouldHold) {
  const auto workers = Make(1);
  workers->Give(0, Task("long"));
  EXPECT_THROW(workers->Wait(), std::logic_error) << "it is waited for";
  EXPECT_EQ(world.started, 1);
}

TEST_F(FleetWorkers, ThatStaySilentKeepNobodyElsesAnswerBack) {
  {
    const auto workers = Make(2);
    workers->Give(0, Task("silent"));
    for (std::uint64_t number = 1; number <= 5; ++number) {
      ASSERT_TRUE(workers->HasRoom());
      workers->Give(number, Task("m"));
      EXPECT_EQ(workers->Wait().number, number);
    }
    EXPECT_FALSE(workers->IsIdle());
  }
  EXPECT_EQ(world.killed, 1) << "whoever is still at work is not waited for";
  EXPECT_EQ(world.alive, 0);
}

TEST_F(FleetWorkers, ThatNeverAnswerAreReplacedWhenTheirTimeIsOver) {
  for (const char* how : {"silent", "stutter"}) {
    world = {};
    const auto answers = RunAll(*Make(1, {.mostTime = seconds(600)}), {"a", how, "b", how, "c"});
    ASSERT_EQ(answers.size(), 5U) << how;
    for (const std::uint64_t lost : {1, 3}) {
      EXPECT_EQ(MachineOf(answers.at(lost)), how);
      EXPECT_EQ(CauseIn(answers.at(lost)),
                "no answer within 600 s; its process was ended; give more with --machine-timeout");
    }
    EXPECT_EQ(answers.at(0), "answer of a");
    EXPECT_EQ(answers.at(2), "answer of b");
    EXPECT_EQ(answers.at(4), "answer of c");
    EXPECT_EQ(world.now.time_since_epoch(), seconds(1200)) << "each had its own time, all of it";
    EXPECT_EQ(world.killed, 2) << how;
    EXPECT_EQ(world.started, 3) << how;
    EXPECT_EQ(world.alive, 0) << how;
  }
}

TEST_F(FleetWorkers, HaveTheirTimeForEachTaskAndWhereverTheyAre) {
  const auto workers = Make(2, {.mostTime = seconds(3)});
  workers->Give(0, Task("silent"));
  for (std::uint64_t number = 1; number <= 5; ++number) {
    world.now += seconds(2);  // Spent elsewhere: nobody waited.
    workers->Give(number, Task("m"));
    EXPECT_EQ(workers->Wait().number, number);
  }
  EXPECT_EQ(world.killed, 0);
  EXPECT_EQ(workers->Wait().number, 0U);
  EXPECT_EQ(world.killed, 1);
  EXPECT_EQ(world.now.time_since_epoch(), seconds(10 + 3));
  EXPECT_TRUE(workers->IsIdle());
}

TEST_F(FleetWorkers, LoseNoTimeWhileTheRunWasStopped) {
  world.oversleep = std::chrono::hours(1);
  const auto workers = Make(1, {.mostTime = seconds(5)});
  workers->Give(0, Task("silent"));
  workers->Wait();
  EXPECT_EQ(world.now.time_since_epoch(), seconds(5) + 5 * std::chrono::hours(1));
  EXPECT_EQ(world.longest, seconds(1));
}

TEST_F(FleetWorkers, HaveAllTimeWhereNoneIsSaid) {
  const auto workers = Make(1, {.mostTime = seconds(0)});
  workers->Give(0, Task("silent"));
  EXPECT_THROW(workers->Wait(), std::logic_error) << "it is waited for without end";
  EXPECT_EQ(world.killed, 0);
}

TEST_F(FleetWorkers, TakeTwoTasksEachAndNoMore) {
  const auto workers = Make(2);
  EXPECT_TRUE(workers->IsIdle());
  for (std::uint64_t number = 0; number < 4; ++number) {
    EXPECT_TRUE(workers->HasRoom()) << number;
    workers->Give(number, Task("m"));
    EXPECT_FALSE(workers->IsIdle());
  }
  EXPECT_FALSE(workers->HasRoom());
  workers->Wait();
  EXPECT_TRUE(workers->HasRoom());
}

TEST_F(FleetWorkers, TakeNoMoreTasksThanMemoryHolds) {
  const auto workers = Make(3, {.mostBytes = 100});
  workers->Give(0, Task("a", std::string(99, 'x')));
  EXPECT_TRUE(workers->HasRoom()) << "99 bytes of 100";
  workers->Give(1, Task("b", "x"));
  EXPECT_FALSE(workers->HasRoom()) << "100 bytes of 100";
  std::set<std::uint64_t> answered{workers->Wait().number};
  EXPECT_TRUE(workers->HasRoom());
  answered.insert(workers->Wait().number);
  EXPECT_EQ(answered, (std::set<std::uint64_t>{0, 1}));
  EXPECT_TRUE(workers->IsIdle());
  workers->Give(2, Task("crash", std::string(100, 'x')));
  EXPECT_FALSE(workers->HasRoom());
  workers->Wait();
  EXPECT_TRUE(workers->HasRoom()) << "a task that ended its worker counts no more";
}

}  // namespace
}  // namespace svc::fleet
