// The seam between the thin library that every query loads and the module that downloads.
#ifndef RUNTIME_ACQUIRE_ENGINE_H_
#define RUNTIME_ACQUIRE_ENGINE_H_

#include <string>
#include <utility>
#include <vector>

#include "host/acquire/download_manager.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {

using TSystem = std::pair<KPLAcquistion::OSTypeEnum, KPLAcquistion::ArchTypeEnum>;

// Everything that one download goes by.
struct TDownloadJob {
  std::string folder;  // As this system names it.
  KPLAcquistion::HTTPProxyInfo proxy;
  std::vector<std::string> machineTypes;
  std::vector<TSystem> systems;
  bool includeData = false;
  bool latestOnly = false;
  TSettings settings;
};

inline constexpr const char* kEngineModule = "acquire-engine";
inline constexpr const char* kEngineFunction = "SvcRunDownload";

// Runs a download on the calling thread and says how it ended. Throws nothing.
using TEngineFunction = void (*)(const TDownloadJob& job,
                                 KPLAcquistion::AcquireCallbackIfc& callback,
                                 TOutcome& outcome) noexcept;

// The engine's one operation, for the module's entry and for tests.

// A TEngineFunction.
void RunDownload(const TDownloadJob& job, KPLAcquistion::AcquireCallbackIfc& callback,
                 TOutcome& outcome) noexcept;

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_ENGINE_H_
