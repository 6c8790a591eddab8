// Says when a download has to end before it is done.
#ifndef RUNTIME_ACQUIRE_WATCH_H_
#define RUNTIME_ACQUIRE_WATCH_H_

#include <chrono>
#include <functional>
#include <utility>

#include "runtime/acquire/outcome.h"

namespace svc::acquire {

// Made when the download starts; asked again and again by whatever may take long. One thread.
class TWatch {
 public:
  using TClock = std::chrono::steady_clock;

  TWatch(std::function<bool()> stopRequested, std::chrono::milliseconds total)
      : stopRequested(std::move(stopRequested)), end(TClock::now() + total) {}

  // Throws TFailure (kInterrupted, kTooSlow).
  void Check() const {
    if (stopRequested && stopRequested())
      throw TFailure(EOutcome::kInterrupted, "stopped before it was done; start it again to go on");
    if (TClock::now() > end)
      throw TFailure(EOutcome::kTooSlow,
                     "the whole download took longer than its time limit; what arrived is kept, "
                     "start it again to go on");
  }

 private:
  std::function<bool()> stopRequested;
  TClock::time_point end;
};

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_WATCH_H_
