// What the module shows to the library that loads it.
#include "runtime/acquire/engine.h"

extern "C" HOST_EXPORT void SvcRunDownload(const svc::acquire::TDownloadJob& job,
                                           KPLAcquistion::AcquireCallbackIfc& callback,
                                           svc::acquire::TOutcome& outcome) noexcept {
  svc::acquire::RunDownload(job, callback, outcome);
}

extern "C" HOST_EXPORT void SvcFetchDescriptions(const svc::acquire::TDownloadJob& job,
                                                 svc::acquire::TFetched& fetched,
                                                 svc::acquire::TOutcome& outcome) noexcept {
  svc::acquire::FetchDescriptions(job, fetched, outcome);
}
