// Says when a download has to end before it is done, and what time it is.
#ifndef RUNTIME_ACQUIRE_WATCH_H_
#define RUNTIME_ACQUIRE_WATCH_H_

#include <chrono>
#include <functional>
#include <thread>
#include <utility>

#include "runtime/acquire/outcome.h"

namespace svc::acquire {

// The time that limits and pauses go by: the machine's own, or one that a test moves.
class ITime {
 public:
  using TClock = std::chrono::steady_clock;

  virtual ~ITime() = default;
  virtual TClock::time_point Now() = 0;
  virtual void Sleep(std::chrono::milliseconds pause) = 0;
};

class TMachineTime : public ITime {
 public:
  TClock::time_point Now() override { return TClock::now(); }
  void Sleep(std::chrono::milliseconds pause) override { std::this_thread::sleep_for(pause); }
};

// Made when the download starts; asked again and again by whatever may take long. Borrows the
// time. One thread.
class TWatch {
 public:
  using TClock = ITime::TClock;

  TWatch(std::function<bool()> stopRequested, std::chrono::milliseconds total, ITime& time)
      : stopRequested(std::move(stopRequested)), time(time), end(time.Now() + total) {}

  TClock::time_point Now() const { return time.Now(); }
  void Sleep(std::chrono::milliseconds pause) const { time.Sleep(pause); }

  // Throws TFailure (kInterrupted, kTooSlow).
  void Check() const {
    if (stopRequested && stopRequested())
      throw TFailure(EOutcome::kInterrupted, "stopped before it was done; start it again to go on");
    if (Now() > end)
      throw TFailure(EOutcome::kTooSlow,
                     "the whole download took longer than its time limit; what arrived is kept, "
                     "start it again to go on");
  }

 private:
  std::function<bool()> stopRequested;
  ITime& time;
  TClock::time_point end;
};

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_WATCH_H_
