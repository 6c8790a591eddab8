// The engine's one operation, for the module's entry and for tests.
#ifndef RUNTIME_ACQUIRE_ENGINE_ENTRY_H_
#define RUNTIME_ACQUIRE_ENGINE_ENTRY_H_

#include "runtime/acquire/engine.h"

namespace svc::acquire {

// A TEngineFunction.
void RunDownload(const TDownloadJob& job, KPLAcquistion::AcquireCallbackIfc& callback,
                 TOutcome& outcome) noexcept;

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_ENGINE_ENTRY_H_
