// Which manifest is good enough to go by.
#ifndef RUNTIME_ACQUIRE_ACCEPTANCE_RULES_H_
#define RUNTIME_ACQUIRE_ACCEPTANCE_RULES_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "runtime/acquire/manifest.h"
#include "runtime/acquire/minisign.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {

// Reads a file of one public key. Throws TFailure (kKeyUnusable).
TPublicKey ReadPublicKey(const std::string& path);

// Throws TFailure (kExpired, kTooLarge) for a manifest that is past its date or has a file beyond
// the limits.
void CheckManifest(const TManifest& manifest, std::chrono::sys_seconds now, const TLimits& limits);

// Throws TFailure (kRolledBack).
void CheckSerial(const TManifest& manifest, std::uint64_t last);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_ACCEPTANCE_RULES_H_
