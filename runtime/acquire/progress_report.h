// Tells the callback and the program's observer how a download goes.
#ifndef RUNTIME_ACQUIRE_PROGRESS_REPORT_H_
#define RUNTIME_ACQUIRE_PROGRESS_REPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/acquire/acquire_callback.h"
#include "runtime/acquire/engine.h"
#include "runtime/acquire/manifest.h"

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

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_PROGRESS_REPORT_H_
