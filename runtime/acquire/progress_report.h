// Tells the callback and the program's observer how a download goes.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/acquire/download_manager.h"
#include "runtime/acquire/engine.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {

// Lives as long as one download; one thread. Borrows what it is made from.
class TProgressReport {
 public:
  TProgressReport(const TDownloadJob& job, KPLAcquistion::AcquireCallbackIfc& callback)
      : job(job), callback(callback) {}
  ~TProgressReport();

  // The phases, in this order.
  void Waiting();
  void Listing();
  // The files that will come.
  void Files(const std::vector<TManifestFile>& files);
  // Every file that was asked for, with the names of those that came.
  void Result(const std::vector<TManifestFile>& files);

  void ItemStarted(const std::string& name, std::uint64_t size);
  void Received(const std::string& name, std::uint64_t held, std::uint64_t bytes);
  // Bytes that have to come again.
  void Forget(std::uint64_t bytes) { progress.bytes -= bytes; }
  void ItemEnded(const std::string& name);

 private:
  void Tell(std::int32_t kind, const std::string& text);
  void TellOfEach(std::int32_t kind, std::int32_t totalKind,
                  const std::vector<TManifestFile>& files);
  void Observe(TDownloadProgress::EPhase phase);

  const TDownloadJob& job;
  KPLAcquistion::AcquireCallbackIfc& callback;
  TDownloadProgress progress;
  std::chrono::steady_clock::time_point lastTold;
};

// "Red Hat Enterprise Linux 5 x64"; holds no colon.
std::string SystemName(const TSystem& system);

// Says when a download has to end before it is done, and what time it is.

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

  // Throws TError (kInterrupted, kTooSlow).
  void Check() const {
    if (stopRequested && stopRequested())
      throw DownloadError(EOutcome::kInterrupted,
                          "stopped before it was done; start it again to go on");
    if (Now() > end)
      throw DownloadError(
          EOutcome::kTooSlow,
          "the whole download took longer than its time limit; what arrived is kept, "
          "start it again to go on");
  }

 private:
  std::function<bool()> stopRequested;
  ITime& time;
  TClock::time_point end;
};

}  // namespace svc::acquire
