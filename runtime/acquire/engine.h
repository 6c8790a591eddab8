// The seam between the thin library that every query loads and the modules that few runs need, the
// one that downloads before all.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/acquire/download_manager.h"
#include "host/hskcore/export.h"
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

// What a repository has for the job's machine types, or for all of them where it names none.
struct TFetched {
  struct TFile {
    std::string path;  // In the repository.
    std::string here;  // Whole and verified.
  };
  std::uint64_t serial = 0;
  std::vector<TFile> files;
};

inline constexpr const char* kFetchFunction = "SvcFetchDescriptions";

// Brings every latest description, whatever its system, into a folder that the state folder keeps
// for the repository: files go by their hashes there, and one that is there does not come again.
// What the manifest no longer names is removed. Takes machine types and settings from the job.
using TFetchFunction = void (*)(const TDownloadJob& job, TFetched& fetched,
                                TOutcome& outcome) noexcept;

// The engine's operations, for the module's entries and for tests.

// A TEngineFunction.
void RunDownload(const TDownloadJob& job, KPLAcquistion::AcquireCallbackIfc& callback,
                 TOutcome& outcome) noexcept;
// A TFetchFunction.
void FetchDescriptions(const TDownloadJob& job, TFetched& fetched, TOutcome& outcome) noexcept;

// --- How modules are found ---

// Parts of the installation that only some runs need, loaded when they are needed: a query of a
// local catalogue starts without the libraries for networks and signatures. Any thread.

// The address of what the module exports under a C name. The module lies beside this library, of
// which there is one wherever the program lies, and stays loaded until the process ends. Throws
// TError (kIncomplete).
ACQUIRE_API void* AddressInModule(const std::string& module, const char* name);

template <typename TFunction>
TFunction FindInModule(const std::string& module, const char* name) {
  return reinterpret_cast<TFunction>(AddressInModule(module, name));
}

}  // namespace svc::acquire
