// Making the manifest of a folder of descriptions.
#ifndef SVCHECK_PUBLISHER_BUILD_H_
#define SVCHECK_PUBLISHER_BUILD_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/acquire/manifest.h"
#include "runtime/acquire/minisign.h"
#include "svcheck/publisher/description.h"

namespace svc::repository {

struct TBuildOptions {
  std::string folder;
  std::string dataFolder;
  std::optional<std::uint64_t> serial;  // Otherwise one more than the last.
  std::chrono::sys_seconds expires;
};

struct TBuildResult {
  acquire::TManifest manifest;
  TWarnings warnings;
};

// Reads every description below the folder and writes the manifest into it. An older manifest
// there gives the serial to count on from, what is superseded, and the payloads, which are
// described nowhere else. Throws std::exception with a text for people; then nothing is changed.
TBuildResult Build(const TBuildOptions& options);

// A manifest as the text that is published.

// JSON, indented; ParseManifest reads it back the same.
std::string ManifestText(const acquire::TManifest& manifest);

// Whether a folder would be taken as a repository by those who download from it.

// Checks the signature (with a key), the manifest, its date and every file. Returns the manifest;
// throws TError or std::exception at the first fault.
acquire::TManifest Verify(const std::string& folder, const std::optional<acquire::TPublicKey>& key,
                          std::chrono::sys_seconds now);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_BUILD_H_
