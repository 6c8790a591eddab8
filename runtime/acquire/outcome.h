// How a download ended: the numbers that DownloadManager::startDownload returns.
#ifndef RUNTIME_ACQUIRE_OUTCOME_H_
#define RUNTIME_ACQUIRE_OUTCOME_H_

#include <stdexcept>
#include <string>

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

  kUnsigned = 30,      // The repository has no signature.
  kBadSignature = 31,  // The signature is not that of the key, or not of this manifest.
  kBadManifest = 32,   // The manifest does not say what it must.
  kExpired = 33,       // The manifest is past its date.
  kRolledBack = 34,    // The manifest is older than one accepted before.
  kBadContent = 35,    // A file is not the one that the manifest describes.
  kTooLarge = 36,      // More than this program takes.

  kFolderUnwritable = 40,  // The download folder or its neighbours cannot be written.
  kDiskFull = 41,
  kLocked = 42,         // Another download did not end in time.
  kStateUnusable = 43,  // What was accepted before cannot be read or written.

  kInterrupted = 50,  // The program was told to stop.
  kIncomplete = 51    // A part of the installation is missing.
};

// Ends a download. The text is one line for the administrator: what happened, where, what to do.
class HOST_INTERFACE TFailure : public std::runtime_error {
 public:
  TFailure(EOutcome outcome, const std::string& text)
      : std::runtime_error(text), outcome(outcome) {}
  EOutcome Outcome() const noexcept { return outcome; }

 private:
  EOutcome outcome;
};

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_OUTCOME_H_
