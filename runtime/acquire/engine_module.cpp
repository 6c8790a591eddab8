// What the module shows to the library that loads it.
#include "runtime/acquire/engine.h"

extern "C" HOST_EXPORT void SvcRunDownload(const svc::acquire::TDownloadJob& job,
                                           KPLAcquistion::AcquireCallbackIfc& callback,
                                           svc::acquire::TOutcome& outcome) noexcept {
  svc::acquire::RunDownload(job, callback, outcome);
}
