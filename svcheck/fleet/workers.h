// The processes that compare the machines of a fleet. A comparison that ends its process costs one
// machine's answer. Used by one thread.
#ifndef SVCHECK_FLEET_WORKERS_H_
#define SVCHECK_FLEET_WORKERS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "svcheck/fleet/machine_check.h"
#include "svcheck/fleet/task.h"

namespace svc::fleet {

struct TAnswer {
  std::uint64_t number;  // Of its task, from 0 in order of their handing over.
  std::string text;
};

class IWorkers {
 public:
  virtual ~IWorkers() = default;
  // Whether a task would be taken up at once, or next.
  virtual bool HasRoom() const = 0;
  virtual bool IsIdle() const = 0;
  // REQUIRES: HasRoom().
  virtual void Give(std::uint64_t number, TTask task) = 0;
  // Waits for the next answer, in whatever order. REQUIRES: !IsIdle(). Throws TFailure.
  virtual TAnswer Wait() = 0;
};

// Starts `jobs` of them; when this returns, the catalogue is known to be of use. Throws TFailure (4
// when it is not).
std::unique_ptr<IWorkers> StartWorkers(int jobs, const TCheckSettings& settings);

// This process as one of them, where they are programs that StartWorkers starts; `channel` is what
// it named the way to it. Returns the exit status; none when nobody started it so.
std::optional<int> RunWorker(const std::string& channel);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_WORKERS_H_
