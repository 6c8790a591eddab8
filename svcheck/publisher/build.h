// Making the manifest of a folder of descriptions.
#ifndef SVCHECK_PUBLISHER_BUILD_H_
#define SVCHECK_PUBLISHER_BUILD_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/acquire/manifest.h"

namespace svc::repository {

struct TBuildOptions {
  std::string folder;
  std::string dataFolder;
  std::optional<std::uint64_t> serial;  // Otherwise one more than the last.
  std::chrono::sys_seconds expires;
};

struct TBuildResult {
  acquire::TManifest manifest;
  std::vector<std::string> warnings;
};

// Reads every description below the folder and writes the manifest into it. An older manifest
// there gives the serial to count on from, what is superseded, and the payloads, which are
// described nowhere else. Throws std::exception with a text for people; then nothing is changed.
TBuildResult Build(const TBuildOptions& options);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_BUILD_H_
