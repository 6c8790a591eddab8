// In which order machines are compared and told, and which of them need no worker.
#include "svcheck/fleet/comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace svc::fleet {
namespace {

using TNames = std::vector<std::string>;

std::string LinesOf(const std::string& machine) {
  return R"({"machine":")" + machine + R"(","outcome":"done","machineType":"1"})" + "\n";
}

// Answers the task that it was given last, and says that nothing of the inventory was read.
class TBackwards : public IWorkers {
 public:
  bool HasRoom() const override { return tasks.size() < 3; }
  bool IsIdle() const override { return tasks.empty(); }
  void Give(std::uint64_t number, TTask task) override {
    compared.push_back(task.machine);
    tasks.emplace_back(number, std::move(task));
    most = std::max(most, tasks.size());
  }
  TAnswer Wait() override {
    const auto [number, task] = std::move(tasks.back());
    tasks.pop_back();
    std::string reads;
    if (task.wantsReads) AppendLength(reads += kBeforeReads, 0);
    return {number, LinesOf(task.machine) + reads};
  }

  TNames compared;
  std::size_t most = 0;  // At once.

 private:
  std::vector<std::pair<std::uint64_t, TTask>> tasks;
};

class TMachines : public IComparedMachines {
 public:
  explicit TMachines(std::vector<TTask> tasks) : tasks(std::move(tasks)) {}
  std::optional<TTask> Next() override {
    if (next == tasks.size()) return {};
    return tasks[next++];
  }
  bool IsReady() override { return isReady; }
  void Take(const std::string& machine, std::string_view lines,
            TSummary::TCounted* counted) override {
    EXPECT_EQ(lines, LinesOf(machine));
    told.push_back(machine);
    if (counted != nullptr) alike.push_back(machine);
  }

  TNames told;
  TNames alike;  // Of these.
  bool isReady = true;

 private:
  std::vector<TTask> tasks;
  std::size_t next = 0;
};

TTask Task(const std::string& machine, const std::string& text) {
  return {machine, TTask::EInventory::kDocument, text};
}

TEST(FleetComparison, TellsAnswersInTheOrderOfTheMachinesHoweverTheyCome) {
  TNames names;
  std::vector<TTask> tasks;
  for (int i = 0; i < 20; ++i) {
    names.push_back("m" + std::to_string(i));
    tasks.push_back(Task(names.back(), "text of " + names.back()));
  }
  for (const std::uint64_t ahead : {1, 2, 100}) {
    TBackwards workers;
    TMachines machines(tasks);
    TComparison(workers, machines, ahead, true).Run();
    EXPECT_EQ(machines.told, names) << ahead;
    EXPECT_EQ(machines.alike, TNames()) << ahead;
    EXPECT_EQ(workers.compared, names) << ahead;
  }
}

TEST(FleetComparison, ComparesNoMachineThatIsLikeOneThatHasItsAnswer) {
  const std::vector<TTask> tasks = {Task("a", "x"), Task("b", "x"), Task("c", "x"), Task("d", "y"),
                                    Task("e", "x"), Task("f", "y"), Task("g", "x")};
  TBackwards workers;
  TMachines machines(tasks);
  TComparison(workers, machines, 1, true).Run();
  EXPECT_EQ(machines.told, (TNames{"a", "b", "c", "d", "e", "f", "g"}));
  EXPECT_EQ(workers.compared, (TNames{"a", "d"}));
  EXPECT_EQ(machines.alike, (TNames{"b", "c", "e", "f", "g"}));
}

TEST(FleetComparison, ComparesEachMachineWhereNothingIsShared) {
  TBackwards workers;
  TMachines machines({Task("a", "x"), Task("b", "x"), Task("c", "x")});
  TComparison(workers, machines, 1, false).Run();
  EXPECT_EQ(workers.compared, (TNames{"a", "b", "c"}));
  EXPECT_EQ(machines.alike, TNames());
}

TEST(FleetComparison, GivesEachAnswerBeforeItWaitsForAMachineThatIsWritten) {
  std::vector<TTask> tasks;
  for (int i = 0; i < 6; ++i) tasks.push_back(Task("m" + std::to_string(i), std::to_string(i)));
  for (const bool isReady : {false, true}) {
    TBackwards workers;
    TMachines machines(tasks);
    machines.isReady = isReady;
    TComparison(workers, machines, 100, true).Run();
    EXPECT_EQ(machines.told.size(), 6U);
    EXPECT_EQ(workers.most, isReady ? 3U : 1U);
  }
}

TEST(FleetComparison, HasSoManyAnswersWaitingAtMost) {
  std::vector<TTask> tasks;
  for (int i = 0; i < 9; ++i) tasks.push_back(Task("m" + std::to_string(i), std::to_string(i)));
  for (const std::uint64_t ahead : {1, 2, 3, 4}) {
    TBackwards workers;
    TMachines machines(tasks);
    TComparison(workers, machines, ahead, false).Run();
    EXPECT_EQ(workers.most, std::min<std::uint64_t>(ahead, 3));
  }
}

}  // namespace
}  // namespace svc::fleet
