#include "runtime/acquire/acceptance_rules.h"

#include "runtime/acquire/outcome.h"
#include "runtime/acquire/staged_file.h"

namespace svc::acquire {
namespace {

void CheckSize(const TManifestFile& file, const TLimits& limits) {
  const std::uint64_t limit = file.payload ? limits.payload : limits.description;
  if (file.size > limit)
    throw TFailure(EOutcome::kTooLarge, file.path + " has " + std::to_string(file.size) +
                                            " bytes, more than the " + std::to_string(limit) +
                                            " that this program takes");
}

}  // namespace

TPublicKey ReadPublicKey(const std::string& path) {
  TPlainFile file(path);
  if (!file.IsOpen())
    throw TFailure(EOutcome::kKeyUnusable,
                   path + ", named as the repository's public key, cannot be read");
  std::string buffer;
  try {
    return ParsePublicKey(file.Read(buffer));
  } catch (const TFailure& failure) {
    throw TFailure(failure.Outcome(), path + ": " + failure.what());
  }
}

void CheckManifest(const TManifest& manifest, std::chrono::sys_seconds now, const TLimits& limits) {
  if (manifest.expires <= now)
    throw TFailure(EOutcome::kExpired, "the repository's manifest was good until " +
                                           FormatTime(manifest.expires) +
                                           "; ask its publisher for a new one, and check this "
                                           "machine's clock");
  for (const TManifestFile& file : manifest.files) CheckSize(file, limits);
}

void CheckSerial(const TManifest& manifest, std::uint64_t last) {
  if (manifest.serial < last)
    throw TFailure(EOutcome::kRolledBack, "the repository's manifest has serial " +
                                              std::to_string(manifest.serial) +
                                              ", but one with serial " + std::to_string(last) +
                                              " was accepted before; nothing older is taken");
}

}  // namespace svc::acquire
