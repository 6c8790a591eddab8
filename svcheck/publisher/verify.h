// Whether a folder would be taken as a repository by those who download from it.
#ifndef SVCHECK_PUBLISHER_VERIFY_H_
#define SVCHECK_PUBLISHER_VERIFY_H_

#include <chrono>
#include <optional>
#include <string>

#include "runtime/acquire/manifest.h"
#include "runtime/acquire/minisign.h"

namespace svc::repository {

// Checks the signature (with a key), the manifest, its date and every file. Returns the manifest;
// throws acquire::TFailure or std::exception at the first fault.
acquire::TManifest Verify(const std::string& folder, const std::optional<acquire::TPublicKey>& key,
                          std::chrono::sys_seconds now);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_VERIFY_H_
