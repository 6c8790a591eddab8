// The processes that compare the machines of a fleet. A comparison that ends its process costs one
// machine's answer. Used by one thread.
#ifndef SVCHECK_FLEET_WORKERS_H_
#define SVCHECK_FLEET_WORKERS_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

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

// What a worker does with a task.
using TWork = std::function<std::string(TTask task)>;

// Starts `jobs` of them. Throws TFailure.
std::unique_ptr<IWorkers> StartWorkers(int jobs, TWork work);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_WORKERS_H_
