// The process of a worker as the one that hands out tasks sees it. Each system has its own way to
// start and to reach one; everything else is the same. Used by one thread.
#ifndef SVCHECK_FLEET_WORKER_PROCESS_H_
#define SVCHECK_FLEET_WORKER_PROCESS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "svcheck/fleet/workers.h"

namespace svc::fleet {

class IWorkerProcess {
 public:
  // Waits for its end, which comes by itself where it has no tasks.
  virtual ~IWorkerProcess() = default;
  // False until it has made itself ready for tasks.
  virtual bool HasBegun() const = 0;
  // Hands over what it can take now, off the front.
  virtual void Send(std::string& bytes) = 0;
  // Adds what it has answered meanwhile; false when it has ended. Throws TFailure where it says
  // that it cannot begin.
  virtual bool Receive(std::string& bytes) = 0;
  // How it ended, for a person. REQUIRES: Receive has returned false.
  virtual std::string CauseOfEnd() = 0;
  virtual void Kill() = 0;
};

class IWorkerSystem {
 public:
  struct TAwaited {
    IWorkerProcess* process;
    bool hasToSend;
    bool isReady = false;
  };

  virtual ~IWorkerSystem() = default;
  // Throws TFailure.
  virtual std::unique_ptr<IWorkerProcess> Start() = 0;
  // Waits until one of them can take something or has answered or ended; marks those. It may mark
  // none. Throws TFailure.
  virtual void Wait(std::vector<TAwaited>& awaited) = 0;
};

// Few inventories are that large: while tasks of so many bytes have no answer, no more are taken
// up.
inline constexpr std::size_t kMostBytes = std::size_t{256} << 20U;
// An answer that no memory holds.
inline constexpr std::uint64_t kMostAnswer = std::uint64_t{16} << 30U;

// Throws TFailure.
std::unique_ptr<IWorkers> MakeWorkers(int jobs, std::unique_ptr<IWorkerSystem> system,
                                      std::size_t mostBytes = kMostBytes);

// "cannot <action> a worker process: <why>".
[[noreturn]] void FailWorker(const char* action, const std::string& why);

// Why a machine has no answer: its process ended in the way that `how` says, such as "with status
// 3", or with kExitMemory.
std::string CauseOf(const std::string& how);
inline constexpr const char* kMemoryRanOut =
    "out of memory while this machine was compared; give fewer --jobs";

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_WORKER_PROCESS_H_
