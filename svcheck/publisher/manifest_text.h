// A manifest as the text that is published.
#ifndef SVCHECK_PUBLISHER_MANIFEST_TEXT_H_
#define SVCHECK_PUBLISHER_MANIFEST_TEXT_H_

#include <string>

#include "runtime/acquire/manifest.h"

namespace svc::repository {

// JSON, indented; ParseManifest reads it back the same.
std::string ManifestText(const acquire::TManifest& manifest);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_MANIFEST_TEXT_H_
