#include "svcheck/publisher/build.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>

#include "base/error.h"
#include "base/files.h"
#include "base/module.h"
#include "runtime/acquire/download_folder.h"
#include "runtime/acquire/settings.h"
#include "runtime/hskcore/host_setup.h"

namespace svc::repository {
namespace {

namespace fs = std::filesystem;
using acquire::TManifest;
using acquire::TManifestFile;

// The descriptions below a folder, as paths relative to it, in order.
std::vector<std::string> Descriptions(const std::string& folder) {
  const fs::path top = PathOf(folder);
  std::vector<std::string> paths;
  for (auto entry = fs::recursive_directory_iterator(top); entry != fs::end(entry); ++entry) {
    const std::string name = entry->path().filename().string();
    std::error_code unknown;  // A link that leads to itself is neither.
    if (name.starts_with(".") && entry->is_directory(unknown)) entry.disable_recursion_pending();
    const bool isDescription = entry->is_regular_file(unknown) && !name.starts_with(".") &&
                               entry->path().extension() == ".xml";
    if (isDescription) paths.push_back(fs::relative(entry->path(), top).generic_string());
  }
  std::ranges::sort(paths);
  return paths;
}

void CheckNames(const TManifestFile& file) {
  for (const auto why : {acquire::WhyUnsafeName(file.name), acquire::WhyUnsafePath(file.path)})
    if (!why.empty())
      throw TError(file.path + " cannot be published under its name, which " + std::string(why));
}

class TBuilder {
 public:
  explicit TBuilder(const TBuildOptions& options)
      : options(options), previous(ReadPrevious(options.folder)) {
    for (const TManifestFile& file : previous.files) wasLatest.emplace(KeyOf(file), file.latest);
  }

  TBuildResult Run() {
    result.manifest.serial = Serial();
    result.manifest.expires = options.expires;
    for (const std::string& path : Descriptions(options.folder)) AddDescription(path);
    for (const TManifestFile& file : previous.files)
      if (file.payload) AddPayload(file);
    std::ranges::sort(result.manifest.files, {}, [](const TManifestFile& file) {
      return std::tie(file.path, file.os, file.arch);
    });
    return std::move(result);
  }

 private:
  static TManifest ReadPrevious(const std::string& folder) {
    const std::string path = folder + "/" + acquire::kManifestName;
    if (!fs::exists(PathOf(path))) return {};
    return acquire::ParseManifest(ReadText(path));
  }

  std::uint64_t Serial() const {
    const std::uint64_t serial = options.serial.value_or(previous.serial + 1);
    if (serial <= previous.serial)
      throw TError("serial " + std::to_string(serial) + " is not above the last one, " +
                   std::to_string(previous.serial) +
                   "; those who took that would refuse the new manifest");
    return serial;
  }

  void AddDescription(const std::string& path) {
    TManifestFile file;
    file.name = PathOf(path).filename().string();
    file.path = path;
    CheckNames(file);
    Measure(file);
    const TApplicability applicability = ApplicabilityOf(file.name, [&](const TTakeElement& take) {
      ReadDescription(options.folder + "/" + path, options.dataFolder, take);
    });
    result.warnings.Add(path, applicability.warnings);
    for (const auto& [platform, machineTypes] : applicability.machineTypes) {
      std::tie(file.os, file.arch) = platform;
      file.machineTypes.assign(machineTypes.begin(), machineTypes.end());
      file.latest = WasLatest(file);
      AddUnique(file);
    }
  }

  void AddPayload(TManifestFile file) {
    if (!fs::exists(PathOf(options.folder + "/" + file.path))) {
      result.warnings.Add(file.path + ": ", "the payload is gone and no longer listed");
      return;
    }
    Measure(file);
    AddUnique(file);
  }

  // On the receiving side everything lies in one folder.
  void AddUnique(const TManifestFile& file) {
    const auto [known, isNew] = paths.emplace(file.name, file.path);
    if (!isNew && known->second != file.path)
      throw TError(file.path + " and " + known->second +
                   " have the same name; give one of them another");
    result.manifest.files.push_back(file);
  }

  void Measure(TManifestFile& file) const {
    std::tie(file.size, file.sha256) = SizeAndHash(options.folder + "/" + file.path);
  }

  using TKey = std::tuple<std::string, std::int32_t, std::int32_t>;
  static TKey KeyOf(const TManifestFile& file) { return {file.path, file.os, file.arch}; }

  bool WasLatest(const TManifestFile& file) const {
    const auto found = wasLatest.find(KeyOf(file));
    return found == wasLatest.end() || found->second;
  }

  const TBuildOptions& options;
  TManifest previous;
  std::map<TKey, bool> wasLatest;  // Of those in `previous`; of two of a key the first counts.
  TBuildResult result;
  std::map<std::string, std::string> paths;
};

template <typename TConsumer>
void ReadPieces(const std::string& path, TConsumer consume) {
  acquire::TPlainFile file(path);
  if (!file.IsOpen()) throw TError(path + " cannot be read");
  std::string buffer;
  for (auto bytes = file.Read(buffer); !bytes.empty(); bytes = file.Read(buffer)) consume(bytes);
}

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

using acquire::DownloadError;
using acquire::EOutcome;

// Each file is read once, however often the manifest lists it.
void CheckFiles(const std::string& folder, const std::vector<acquire::TManifestFile>& files) {
  std::map<std::string, std::pair<std::uint64_t, std::string>> read;
  for (const acquire::TManifestFile& file : files) {
    const auto [known, isNew] = read.try_emplace(file.path);
    if (isNew) known->second = SizeAndHash(folder + "/" + file.path);
    if (known->second != std::pair(file.size, file.sha256))
      throw DownloadError(EOutcome::kBadContent,
                          file.path +
                              " is not the file that the manifest describes; build the manifest "
                              "again and sign it");
  }
}

}  // namespace

TBuildResult Build(const TBuildOptions& options) {
  TBuildResult result = TBuilder(options).Run();
  WriteText(options.folder + "/" + acquire::kManifestName, ManifestText(result.manifest));
  return result;
}

std::string ManifestText(const acquire::TManifest& manifest) {
  ordered_json files = ordered_json::array();
  for (const acquire::TManifestFile& file : manifest.files) files.push_back(FileObject(file));
  const ordered_json document = {{"schema", acquire::kManifestSchema},
                                 {"serial", manifest.serial},
                                 {"expires", acquire::FormatTime(manifest.expires)},
                                 {"files", files}};
  return document.dump(2) + "\n";
}

acquire::TManifest Verify(const std::string& folder, const std::optional<acquire::TPublicKey>& key,
                          std::chrono::sys_seconds now) {
  const std::string path = folder + "/" + acquire::kManifestName;
  const std::string text = ReadText(path);
  if (key)
    acquire::VerifySignature(
        *key, acquire::ParseSignature(ReadText(path + acquire::kSignatureSuffix)), text);
  acquire::TManifest manifest = acquire::ParseManifest(text);
  acquire::CheckManifest(manifest, now, {});
  CheckFiles(folder, manifest.files);
  return manifest;
}

std::string ReadText(const std::string& path) {
  std::string text;
  ReadPieces(path, [&text](std::string_view bytes) { text += bytes; });
  return text;
}

std::pair<std::uint64_t, std::string> SizeAndHash(const std::string& path) {
  std::uint64_t size = 0;
  acquire::THasher hasher(acquire::EHash::kSha256);
  ReadPieces(path, [&](std::string_view bytes) {
    size += bytes.size();
    hasher.Update(bytes);
  });
  return {size, acquire::ToHex(hasher.Digest())};
}

void WriteText(const std::string& path, const std::string& text) {
  const auto write = [&] {
    files::TNewFile file(path);
    file.Write(text);
    file.Publish();
  };
  Retold(write, [&path](const TError& error) {
    return TError(path + " cannot be written: " + error.what());
  });
}

std::string InstalledDataFolder() {
  const auto here = reinterpret_cast<const void*>(&InstalledDataFolder);
  const auto folder = PathOf(FolderOfCode(here)).parent_path() / "share" / "svcheck";
  const auto name = folder.u8string();
  return {name.begin(), name.end()};
}

}  // namespace svc::repository
