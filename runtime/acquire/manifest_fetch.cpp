#include "runtime/acquire/manifest_fetch.h"

#include "runtime/acquire/targets.h"

namespace svc::acquire {
namespace {

std::string FetchSignature(TFetcher& fetcher) {
  TTextTarget signature(std::string(kManifestName) + kSignatureSuffix, kMaxSignatureText);
  try {
    fetcher.Fetch({&signature});
  } catch (const TFailure& failure) {
    if (failure.Outcome() != EOutcome::kServerRefused) throw;
    throw TFailure(
        EOutcome::kUnsigned,
        "the repository is not signed, as far as can be seen: " + std::string(failure.what()) +
            "; nothing was taken from it. --allow-unsigned instead of a key takes it");
  }
  return signature.Text();
}

}  // namespace

TManifest FetchManifest(TFetcher& fetcher, const TLimits& limits,
                        const std::optional<TPublicKey>& key) {
  TTextTarget manifest(kManifestName, limits.manifest);
  fetcher.Fetch({&manifest});
  if (key) VerifySignature(*key, ParseSignature(FetchSignature(fetcher)), manifest.Text());
  return ParseManifest(manifest.Text());
}

}  // namespace svc::acquire
