#include "svcheck/publisher/manifest_text.h"

#include <nlohmann/json.hpp>

namespace svc::repository {
namespace {

using nlohmann::ordered_json;

ordered_json FileObject(const acquire::TManifestFile& file) {
  return {{"name", file.name},
          {"path", file.path},
          {"size", file.size},
          {"sha256", file.sha256},
          {"machineTypes", file.machineTypes},
          {"os", file.os},
          {"arch", file.arch},
          {"latest", file.latest},
          {"payload", file.payload}};
}

}  // namespace

std::string ManifestText(const acquire::TManifest& manifest) {
  ordered_json files = ordered_json::array();
  for (const acquire::TManifestFile& file : manifest.files) files.push_back(FileObject(file));
  const ordered_json document = {{"schema", acquire::kManifestSchema},
                                 {"serial", manifest.serial},
                                 {"expires", acquire::FormatTime(manifest.expires)},
                                 {"files", files}};
  return document.dump(2) + "\n";
}

}  // namespace svc::repository
