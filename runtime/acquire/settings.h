// What a download is asked for, and how it ended: the settings of the process, and the numbers that
// DownloadManager::startDownload returns.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "host/hskcore/export.h"

namespace svc::acquire {

// The numbers appear in logs and scripts and never change; docs/live-mode.md lists them. 3 is left
// out: as the code of a status message it means "still at work".
enum class EOutcome : int {
  kDone = 0,
  kFailed = 1,  // Anything without a number of its own.
  kAtWork = 3,  // Only in status messages.

  kNoRepository = 10,     // No address was given.
  kNoKey = 11,            // No public key, and unsigned repositories were not allowed.
  kKeyUnusable = 12,      // The public key cannot be read.
  kProxyUnusable = 13,    // The proxy's address makes no sense.
  kAddressUnusable = 14,  // The repository's address makes no sense.

  kUnreachable = 20,    // The server or the proxy cannot be found or does not answer.
  kNotTrusted = 21,     // The server's certificate cannot be verified.
  kProxyRefused = 22,   // The proxy wants another user or password, or forbids the way.
  kServerRefused = 23,  // The server answered with an error.
  kRedirected = 24,     // The server sends to another place.
  kTooSlow = 25,        // A time limit passed.
  kBroken = 26,         // Transfers broke off again and again.

  // The repository's own faults.
  kUnsigned = 30,      // The repository has no signature.
  kBadSignature = 31,  // The signature is not that of the key, or not of this manifest.
  kBadManifest = 32,   // The manifest does not say what it must.
  kExpired = 33,       // The manifest is past its date.
  kRolledBack = 34,    // The manifest is older than one accepted before.
  kBadContent = 35,    // A file is not the one that the manifest describes.
  kTooLarge = 36,      // More than this program takes.

  // This machine's.
  kFolderUnwritable = 40,  // The download folder or its neighbours cannot be written.
  kDiskFull = 41,
  kLocked = 42,         // Another download did not end in time.
  kStateUnusable = 43,  // What was accepted before cannot be read or written.

  kInterrupted = 50,  // The program was told to stop.
  kIncomplete = 51    // A part of the installation is missing.
};

// Ends a download. The text is one line for the administrator: what happened, where, what to do.
inline TError DownloadError(EOutcome outcome, const std::string& text) {
  const bool isRepositorys =
      outcome >= EOutcome::kUnsigned && outcome < EOutcome::kFolderUnwritable;
  return TError(text, isRepositorys ? EErrorKind::kRepository : EErrorKind::kDownload,
                static_cast<int>(outcome));
}

// kFailed for an exception that says nothing of downloads.
inline EOutcome OutcomeOf(const std::exception& error) noexcept {
  const auto* own = dynamic_cast<const TError*>(&error);
  const bool isOurs = own != nullptr && (own->Kind() == EErrorKind::kDownload ||
                                         own->Kind() == EErrorKind::kRepository);
  return isOurs ? static_cast<EOutcome>(own->Number()) : EOutcome::kFailed;
}

// What the program decides about downloads that a plug-in starts: the plug-in names a folder and a
// machine, the program names the repository and whom to trust.
//
// One value for the process, set before a query. May be set and read from any thread; a download
// goes by the value at its start.

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
