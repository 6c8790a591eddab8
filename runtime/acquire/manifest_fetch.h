// Getting the manifest of a repository, as its publisher signed it.
#ifndef RUNTIME_ACQUIRE_MANIFEST_FETCH_H_
#define RUNTIME_ACQUIRE_MANIFEST_FETCH_H_

#include <optional>

#include "runtime/acquire/fetcher.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/minisign.h"

namespace svc::acquire {

// Fetches the manifest; with a key also its signature, which is verified before anything of the
// manifest is read. Throws TFailure.
TManifest FetchManifest(TFetcher& fetcher, const TLimits& limits,
                        const std::optional<TPublicKey>& key);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_MANIFEST_FETCH_H_
