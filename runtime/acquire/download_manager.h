// The writing side of LastOutcome, for the download manager alone. Any thread.
#ifndef RUNTIME_ACQUIRE_DOWNLOAD_MANAGER_H_
#define RUNTIME_ACQUIRE_DOWNLOAD_MANAGER_H_

#include "runtime/acquire/settings.h"

namespace svc::acquire {

void SetLastOutcome(TOutcome outcome);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_DOWNLOAD_MANAGER_H_
