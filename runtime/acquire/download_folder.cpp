#include "runtime/acquire/download_folder.h"

#include <exception>
#include <filesystem>
#include <vector>

#include "runtime/acquire/crypto.h"
#include "runtime/acquire/minisign.h"
#include "runtime/acquire/staged_file.h"

namespace svc::acquire {

namespace {

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && (path.ends_with('/') || path.ends_with('\\'))) path.pop_back();
  return path;
}

}  // namespace

TDownloadFolder::TDownloadFolder(const std::string& folder, std::chrono::milliseconds lockLimit,
                                 const TWatch& watch)
    : path(WithoutSlash(folder)), staging(path + ".part"), stagingFolder(staging) {
  MakeFolders(path);
  lock.emplace(path + ".lock", lockLimit, watch);
  std::filesystem::remove_all(stagingFolder);
}

TDownloadFolder::~TDownloadFolder() {
  std::error_code ignored;
  // Empty as a rule, for staged files remove themselves; then one call does it.
  std::filesystem::remove(stagingFolder, ignored);
  if (!ignored) return;
  try {
    std::filesystem::remove_all(stagingFolder);
  } catch (const std::exception&) {
    // The next download begins with it.
  }
}

bool TDownloadFolder::Has(const TManifestFile& file, const TWatch& watch) const {
  TPlainFile present(PathOf(file));
  if (!present.IsOpen() || present.Size() != file.size) return false;
  THasher hasher(EHash::kSha256);
  std::string buffer;
  for (auto bytes = present.Read(buffer); !bytes.empty(); bytes = present.Read(buffer)) {
    watch.Check();
    hasher.Update(bytes);
  }
  return ToHex(hasher.Digest()) == file.sha256;
}

std::string TDownloadFolder::NextStagedPath() {
  if (stagedFiles == 0) MakeFolders(staging);
  return staging + "/" + std::to_string(++stagedFiles);
}

void TDownloadFolder::Keep(const std::set<std::string>& names) const {
  std::error_code ignored;
  std::vector<std::filesystem::path> others;
  for (std::filesystem::directory_iterator entry(std::filesystem::path(path), ignored), end;
       !ignored && entry != end; entry.increment(ignored))
    if (!names.contains(entry->path().filename().string())) others.push_back(entry->path());
  for (const auto& other : others) std::filesystem::remove(other, ignored);
}

void TDownloadFolder::Sync() const { SyncFolder(path); }

namespace {

constexpr std::chrono::milliseconds kPause{50};

void Await(int descriptor, const std::string& path, std::chrono::milliseconds limit,
           const TWatch& watch) {
  const auto end = watch.Now() + limit;
  while (!TryLock(descriptor, path)) {
    watch.Check();
    if (watch.Now() > end)
      throw DownloadError(EOutcome::kLocked, "another download into the same folder still holds " +
                                                 path + "; wait for it to end, or end it");
    watch.Sleep(kPause);
  }
}

}  // namespace

TFolderLock::TFolderLock(const std::string& path, std::chrono::milliseconds limit,
                         const TWatch& watch)
    : TFolderLock(path) {
  Await(descriptor, path, limit, watch);  // What it throws closes the file, which is held now.
}

TFolderLock::~TFolderLock() { CloseLockFile(descriptor); }

}  // namespace svc::acquire
