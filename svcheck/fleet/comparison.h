// The comparison of all machines of a run: tasks go to the workers, or have their answer from a
// machine that reads like them, and answers come out in the order of the inventories. Used by one
// thread.
//
// Machines of one model, set up alike, differ in what no query reads, such as the host's name and
// the serial number: where an inventory says what an earlier one said but for such texts, the
// earlier one's answer is its own, under its own name and serial number, and nothing is compared.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/fleet/machine_check.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/fleet/workers.h"

namespace svc::fleet {

// Answers that are those of other machines too.
class TKeptAnswers {
 public:
  // More than these are not kept; the one that was of no use for longest goes first.
  static constexpr std::size_t kMostKept = 32;
  static constexpr std::size_t kMostBytes = std::size_t{32} << 20U;
  // Of an inventory or an answer that may be kept.
  static constexpr std::size_t kMostText = std::size_t{2} << 20U;

  TKeptAnswers();
  ~TKeptAnswers();
  TKeptAnswers(const TKeptAnswers&) = delete;
  TKeptAnswers& operator=(const TKeptAnswers&) = delete;

  struct TFound {
    std::string lines;
    std::shared_ptr<TSummary::TCounted> counted;  // What all answers that are alike come to.
  };
  // The task's answer, where it is known. Otherwise the task is to be compared, and says whether
  // Learn has a use for what is read meanwhile.
  std::optional<TFound> Find(std::uint64_t number, TTask& task);
  // Takes the answer to a task that had none, and what was read for it; no bytes where an answer
  // is the machine's alone.
  void Learn(std::uint64_t number, std::string_view lines, std::string_view reads);

 private:
  struct TAsked;
  struct TKept;

  bool IsTried();
  static std::optional<TAsked> Prepare(const TTask& task);
  const TKept* FindLike(TTask::EInventory kind, std::string_view text, std::string_view& serial);
  void Keep(TKept kept);

  std::map<std::uint64_t, TAsked> asked;    // By number, those that are being compared.
  std::vector<std::unique_ptr<TKept>> all;  // The one used last comes first.
  std::size_t bytes = 0;
  int hope;  // That another machine is like one before.
  std::uint64_t untried = 0;
};

// Who has the machines, and who takes what they come to.
class IComparedMachines {
 public:
  virtual ~IComparedMachines() = default;
  // None at the end. May wait, and may throw TError.
  virtual std::optional<TTask> Next() = 0;
  // Whether Next need not wait for somebody to write.
  virtual bool IsReady() = 0;
  // All lines of a machine. `counted` is shared by machines that are alike; null for one that is
  // like none.
  virtual void Take(const std::string& machine, std::string_view lines,
                    TSummary::TCounted* counted) = 0;
};

class TComparison {
 public:
  // At most `mostAhead` answers wait for one before them. Without `isShared` each machine is
  // compared, whatever others are like. All are borrowed.
  TComparison(IWorkers& workers, IComparedMachines& machines, std::uint64_t mostAhead,
              bool isShared)
      : workers(workers), machines(machines), mostAhead(mostAhead), isShared(isShared) {}

  // Throws TError.
  void Run();

 private:
  struct TWaiting {
    std::string machine;
    std::optional<std::string> answer;
    std::shared_ptr<TSummary::TCounted> counted;
  };

  // False when there are no more machines.
  bool Begin();
  void Receive(TAnswer answer);
  void Deliver();

  IWorkers& workers;
  IComparedMachines& machines;
  const std::uint64_t mostAhead;
  const bool isShared;
  TKeptAnswers kept;
  std::uint64_t given = 0;
  std::uint64_t written = 0;
  std::deque<TWaiting> waiting;  // Machines in their order, from `written` to `given`.
};

}  // namespace svc::fleet
