// What the program decides about downloads that a plug-in starts: the plug-in names a folder and a
// machine, the program names the repository and whom to trust.
//
// One value for the process, set before a query. May be set and read from any thread; a download
// goes by the value at its start.
#ifndef RUNTIME_ACQUIRE_SETTINGS_H_
#define RUNTIME_ACQUIRE_SETTINGS_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/hskcore/export.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {

// How far a download is. Sizes are in bytes; the totals are 0 until the manifest is known.
struct TDownloadProgress {
  enum class EPhase { kWaiting, kListing, kFiles, kEnded };
  EPhase phase = EPhase::kWaiting;
  std::uint64_t files = 0;
  std::uint64_t filesTotal = 0;
  std::uint64_t bytes = 0;
  std::uint64_t bytesTotal = 0;
};

// Is told of progress, at most some ten times a second and always at the end of a phase, on the
// thread of the download. kEnded is told once, whatever the outcome, before anything is written
// to standard error.
class HOST_INTERFACE IProgressObserver {
 public:
  virtual ~IProgressObserver() = default;
  virtual void OnProgress(const TDownloadProgress& progress) noexcept = 0;
};

// What no server may go beyond.
struct TLimits {
  std::chrono::milliseconds connect{15'000};
  std::chrono::milliseconds stall{30'000};  // Next to nothing arrives for so long.
  std::chrono::milliseconds total{3'600'000};
  std::chrono::milliseconds lock{600'000};    // Waiting for another download.
  std::chrono::milliseconds firstPause{500};  // Before the second attempt; doubles each time.
  int attempts = 5;                           // For one file.
  int parallel = 6;
  std::uint64_t description = 524'288'000;  // A larger one could not be loaded.
  std::uint64_t payload = std::uint64_t{16} << 30;
  std::uint64_t manifest = std::uint64_t{16} << 20;
};

struct TSettings {
  std::string repository;     // Address of the folder that holds the manifest.
  std::string publicKeyFile;  // In minisign's form.
  bool allowUnsigned = false;
  std::string caFile;       // Certificates to trust instead of the system's; may be empty.
  bool offline = false;     // Open no socket; what the folder holds has to do.
  bool isReported = false;  // Somebody shows LastOutcome: nothing is written to standard error.
  std::string proxy;        // An address; wins over what the plug-in sets. "none": go direct.
  std::string stateFolder;  // Where the last accepted serials are kept. Empty: the user's own.
  TLimits limits;
  IProgressObserver* observer = nullptr;  // Borrowed; outlives the downloads.
  std::function<bool()> stopRequested;    // Asked several times a second, from the download.
};

ACQUIRE_API void SetSettings(TSettings settings);
ACQUIRE_API TSettings GetSettings();

// How the last download of this process ended, for reports. The text is empty when it went well.
struct TOutcome {
  EOutcome code = EOutcome::kDone;
  std::string text;
  // The names of all files that the accepted manifest offers, for whatever machine; without a
  // download that went well there are none to tell.
  std::optional<std::vector<std::string>> offered = {};
};
ACQUIRE_API TOutcome LastOutcome();
// For the download manager alone.
void SetLastOutcome(TOutcome outcome);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_SETTINGS_H_
