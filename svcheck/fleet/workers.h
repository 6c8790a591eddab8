// The processes that compare the machines of a fleet. A comparison that ends its process costs one
// machine's answer. Used by one thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/fleet/machine_check.h"

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
  // Waits for the next answer, in whatever order. REQUIRES: !IsIdle(). Throws TError.
  virtual TAnswer Wait() = 0;
};

// Starts `jobs` of them; when this returns, the catalogue is known to be of use. One that answers
// no task within `mostTime` (0 for as long as it takes) is ended. Throws TError (4 when the
// catalogue is of no use).
std::unique_ptr<IWorkers> StartWorkers(int jobs, std::chrono::seconds mostTime,
                                       const TCheckSettings& settings);

// This process as one of them, where they are programs that StartWorkers starts; `channel` is what
// it named the way to it. Returns the exit status; none when nobody started it so.
std::optional<int> RunWorker(const std::string& channel);

// What a worker does: it answers tasks, one after the other, until there are no more. Used by one
// thread.

// The end of a worker that had no memory left; of the kind that no verb ends with.
inline constexpr int kExitMemory = 127;

// The way to the process that hands out the tasks. Both functions wait.
class ITaskChannel {
 public:
  virtual ~ITaskChannel() = default;
  // 0 when nothing more will come.
  virtual std::size_t Read(char* block, std::size_t size) = 0;
  // False when nobody is there any more.
  virtual bool Write(std::string_view bytes) = 0;
};

// The frames that come through a channel.
class TFrameReader {
 public:
  explicit TFrameReader(ITaskChannel& channel);
  // The next frame's text, valid until the next call; none when there are no more.
  std::optional<std::string_view> Next();

 private:
  // Makes room behind what was received, and receives. False when there is no more.
  bool Receive();

  ITaskChannel& channel;
  std::vector<char> block;  // What was received lies between the two.
  std::size_t begin = 0;
  std::size_t end = 0;
};

// Returns the exit status of the worker.
int AnswerTasks(TFrameReader& tasks, ITaskChannel& channel, TMachineCheck& check);

// The process of a worker as the one that hands out tasks sees it. Each system has its own way to
// start and to reach one; everything else is the same. Used by one thread.

class IWorkerProcess {
 public:
  // Waits for its end, which comes by itself where it has no tasks.
  virtual ~IWorkerProcess() = default;
  // False until it has made itself ready for tasks.
  virtual bool HasBegun() const = 0;
  // Hands over what it can take now, off the front.
  virtual void Send(std::string& bytes) = 0;
  // Adds what it has answered meanwhile; false when it has ended. Throws TError where it says
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
  // Throws TError.
  virtual std::unique_ptr<IWorkerProcess> Start() = 0;
  // Waits until one of them can take something or has answered or ended, and no longer than `most`
  // where that is given; marks those. It may mark none. Throws TError.
  virtual void Wait(std::vector<TAwaited>& awaited,
                    std::optional<std::chrono::milliseconds> most) = 0;
  virtual std::chrono::steady_clock::time_point Now() const {
    return std::chrono::steady_clock::now();
  }
};

struct TWorkerLimits {
  // Of the work at one task; 0 for none. What counts is the time in which somebody waited for the
  // answer: whoever was stopped for an hour, as from a terminal, takes up where it was.
  std::chrono::seconds mostTime{0};
  // Few inventories are that large: while tasks of so many bytes have no answer, no more are taken
  // up.
  std::size_t mostBytes = std::size_t{256} << 20U;
};
// An answer that no memory holds.
inline constexpr std::uint64_t kMostAnswer = std::uint64_t{16} << 30U;

// Throws TError.
std::unique_ptr<IWorkers> MakeWorkers(int jobs, std::unique_ptr<IWorkerSystem> system,
                                      const TWorkerLimits& limits);

// "cannot <action> a worker process: <why>", or what the system says of a number of its errors.
[[noreturn]] void FailWorker(const char* action, const std::string& why);
[[noreturn]] void FailWorker(const char* action, int error);

// Why a machine has no answer: its process ended in the way that `how` says, such as "with status
// 3", or with kExitMemory.
std::string CauseOf(const std::string& how);
inline constexpr const char* kMemoryRanOut =
    "out of memory while this machine was compared; give fewer --jobs";

}  // namespace svc::fleet
