#include "svcheck/publisher/verify.h"

#include <stdexcept>

#include "runtime/acquire/acceptance_rules.h"
#include "runtime/acquire/outcome.h"
#include "svcheck/publisher/files.h"

namespace svc::repository {
namespace {

using acquire::EOutcome;
using acquire::TFailure;

void CheckFile(const std::string& folder, const acquire::TManifestFile& file) {
  const auto [size, sha256] = SizeAndHash(folder + "/" + file.path);
  if (size != file.size || sha256 != file.sha256)
    throw TFailure(EOutcome::kBadContent,
                   file.path +
                       " is not the file that the manifest describes; build the manifest "
                       "again and sign it");
}

}  // namespace

acquire::TManifest Verify(const std::string& folder, const std::optional<acquire::TPublicKey>& key,
                          std::chrono::sys_seconds now) {
  const std::string path = folder + "/" + acquire::kManifestName;
  const std::string text = ReadText(path);
  if (key)
    acquire::VerifySignature(
        *key, acquire::ParseSignature(ReadText(path + acquire::kSignatureSuffix)), text);
  acquire::TManifest manifest = acquire::ParseManifest(text);
  acquire::CheckManifest(manifest, now, {});
  for (const acquire::TManifestFile& file : manifest.files) CheckFile(folder, file);
  return manifest;
}

}  // namespace svc::repository
