#include "runtime/acquire/download_folder.h"

#include <algorithm>
#include <exception>
#include <nlohmann/json.hpp>

#include "runtime/acquire/address.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {
namespace {

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && (path.ends_with('/') || path.ends_with('\\'))) path.pop_back();
  return path;
}

namespace fs = std::filesystem;

TError Unusable(const std::string& path, const std::string& why) {
  return DownloadError(EOutcome::kStateUnusable,
                       path + ", which says what was accepted last, " + why);
}

struct TNote {
  std::string repository;  // May be missing from notes that were put there by hand.
  std::uint64_t serial = 0;
};

// Nothing where the text is no note.
std::optional<TNote> ParseNote(std::string_view text) {
  const auto state = nlohmann::json::parse(text, nullptr, false);
  const bool isSound =
      state.is_object() && state.contains("serial") && state["serial"].is_number_unsigned();
  if (!isSound) return std::nullopt;
  const bool hasName = state.contains("repository") && state["repository"].is_string();
  return TNote{hasName ? state["repository"].get<std::string>() : "",
               state["serial"].get<std::uint64_t>()};
}

// 0 where there is none.
std::uint64_t SerialIn(const std::string& path) {
  TPlainFile file(path);
  if (!file.IsOpen() && !file.IsMissing()) throw Unusable(path, "cannot be read");
  if (!file.IsOpen()) return 0;
  std::string buffer;
  const auto note = ParseNote(file.Read(buffer));
  if (!note)
    throw Unusable(path, "is damaged; check the repository's serial by hand, then remove the file");
  return note->serial;
}

std::string NameOfNote(const std::string& repository) {
  return ToHex(Hash(EHash::kSha256, repository)).substr(0, 32) + ".json";
}

bool IsNoteOf(const std::string& path, const std::string& repository) {
  TPlainFile file(path);
  std::string buffer;
  const auto note = file.IsOpen() ? ParseNote(file.Read(buffer)) : std::nullopt;
  return note && RepositoryKey(note->repository) == repository;
}

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

TFolderLock::TFolderLock(const std::string& path, std::chrono::milliseconds limit,
                         const TWatch& watch)
    : TFolderLock(path) {
  Await(descriptor, path, limit, watch);  // What it throws closes the file, which is held now.
}

TFolderLock::~TFolderLock() { CloseLockFile(descriptor); }

TSerialStore::TSerialStore(const std::string& stateFolder, const std::string& address)
    : folder((stateFolder.empty() ? DefaultStateFolder() : stateFolder) + "/repositories"),
      repository(RepositoryKey(address)),
      path(folder + "/" + NameOfNote(repository)),
      formerPath(folder + "/" + NameOfNote(address)) {}

std::vector<std::string> TSerialStore::FormerNotes() const {
  std::vector<std::string> notes;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string note = folder + "/" + entry->path().filename().string();
    if (note == path || entry->path().extension() != ".json") continue;
    if (note == formerPath || IsNoteOf(note, repository)) notes.push_back(note);
  }
  return notes;
}

std::uint64_t TSerialStore::Last() const {
  std::uint64_t last = SerialIn(path);
  for (const std::string& note : FormerNotes()) last = std::max(last, SerialIn(note));
  return last;
}

void TSerialStore::Accept(std::uint64_t serial) {
  const std::vector<std::string> former = FormerNotes();
  if (serial != 0 && SerialIn(path) == serial && former.empty()) return;
  const nlohmann::json state = {{"repository", repository}, {"serial", serial}};
  const auto write = [&] {
    MakeFolders(folder);
    TStagedFile file(path);
    file.Write(state.dump() + "\n");
    file.Publish(path);
    SyncFolder(folder);
  };
  Retold(write, [this](const TError& failure) {
    return OutcomeOf(failure) == EOutcome::kDiskFull
               ? failure
               : Unusable(path, std::string("cannot be written: ") + failure.what());
  });
  std::error_code ignored;  // One that stays counts as before, and says no more than the new one.
  for (const std::string& note : former) fs::remove(note, ignored);
}

}  // namespace svc::acquire
