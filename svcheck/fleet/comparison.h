// The comparison of all machines of a run: tasks go to the workers, or have their answer from a
// machine that reads like them, and answers come out in the order of the inventories. Used by one
// thread.
#ifndef SVCHECK_FLEET_COMPARISON_H_
#define SVCHECK_FLEET_COMPARISON_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "svcheck/fleet/kept_answers.h"
#include "svcheck/fleet/workers.h"

namespace svc::fleet {

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

#endif  // SVCHECK_FLEET_COMPARISON_H_
