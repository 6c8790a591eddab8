// How a download ended: the numbers that DownloadManager::startDownload returns.
#ifndef RUNTIME_ACQUIRE_OUTCOME_H_
#define RUNTIME_ACQUIRE_OUTCOME_H_

#include <exception>
#include <string>

#include "base/error.h"

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

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_OUTCOME_H_
