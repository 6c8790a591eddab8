// What a download finds and leaves on this machine: the folder that receives the files, one
// download at a time over all processes, a note of the manifest that was accepted last; and files
// that appear whole or not at all, also when the process is killed or the power fails.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/progress_report.h"

namespace svc::acquire {

// A file that is written beside its place and moved there when it is whole. Not published, it is
// removed with the object. One thread. Every operation throws TError (kDiskFull,
// kFolderUnwritable).
class TStagedFile {
 public:
  // Makes the file beside that path, under a name that nobody can foresee. REQUIRES: the folder
  // exists.
  explicit TStagedFile(std::string path);

  void Write(std::string_view bytes);
  void StartOver();
  // Puts the file, on stable storage, in the target's place. The target's folder has to be synced
  // for its name to be stable too. REQUIRES: the target is on the same file system.
  void Publish(const std::string& target);

 private:
  static constexpr unsigned kMode = 0644;

  std::string path;
  std::optional<files::TNewFile> file;
};

// Makes the names in a folder stable.
void SyncFolder(const std::string& folder);

// Makes a folder with its parents, their names stable. Throws TError.
void MakeFolders(const std::string& folder);

// A plain file (not a link to one) that is open for reading.
class TPlainFile {
 public:
  explicit TPlainFile(const std::string& path);
  ~TPlainFile();
  TPlainFile(const TPlainFile&) = delete;
  TPlainFile& operator=(const TPlainFile&) = delete;

  // Whether there is one and it can be read.
  bool IsOpen() const noexcept { return descriptor >= 0; }
  // Whether there is nothing under that path.
  bool IsMissing() const noexcept { return isMissing; }
  std::uint64_t Size() const;
  // The next bytes; empty at the end, and where they cannot be read.
  std::string_view Read(std::string& buffer);

 private:
  int descriptor;
  bool isMissing;
};

// What a download finds and leaves on this machine: the folder that receives the files, one
// download at a time over all processes, and a note of the manifest that was accepted last.

// --- A file that stands for a lock, as each system knows it ---

// Opens the file, made when it is missing. The caller closes it. Throws TError
// (kFolderUnwritable).
int OpenLockFile(const std::string& path);

// False while another process holds the lock. Throws TError (kFolderUnwritable).
bool TryLock(int descriptor, const std::string& path);

// Gives the lock back as well.
void CloseLockFile(int descriptor) noexcept;

// --- One download at a time ---

// Holds the lock of a file for as long as it lives; the system gives it back when the process
// ends in any way. The file itself stays. One thread.
class TFolderLock {
 public:
  // Waits for whoever holds it. Throws TError (kLocked, kFolderUnwritable, those of the watch).
  TFolderLock(const std::string& path, std::chrono::milliseconds limit, const TWatch& watch);
  ~TFolderLock();
  TFolderLock(const TFolderLock&) = delete;
  TFolderLock& operator=(const TFolderLock&) = delete;

 private:
  explicit TFolderLock(const std::string& path) : descriptor(OpenLockFile(path)) {}

  int descriptor;
};

// --- The folder that receives the files ---

// Its neighbours are "F.part" for files on their way, and "F.lock". Nothing but whole, verified
// files ever stands in the folder itself.
//
// Belongs to one download from its making to its end: others wait. One thread. Operations throw
// TError.
class TDownloadFolder {
 public:
  // Makes what is missing, waits for other downloads, and clears what killed ones left.
  TDownloadFolder(const std::string& path, std::chrono::milliseconds lockLimit,
                  const TWatch& watch);
  ~TDownloadFolder();
  TDownloadFolder(const TDownloadFolder&) = delete;
  TDownloadFolder& operator=(const TDownloadFolder&) = delete;

  // Whether the file stands there already, with the manifest's content.
  bool Has(const TManifestFile& file, const TWatch& watch) const;
  std::string PathOf(const TManifestFile& file) const { return path + "/" + file.name; }
  // A path that is used once; the folder for it is made with the first.
  std::string NextStagedPath();
  // Removes every file whose name is none of these; one that cannot be removed stays.
  void Keep(const std::set<std::string>& names) const;
  // Makes the names of published files stable.
  void Sync() const;

 private:
  std::string path;
  std::string staging;
  const std::filesystem::path stagingFolder;  // To remove it takes no memory.
  std::optional<TFolderLock> lock;
  int stagedFiles = 0;
};

// --- What was accepted before ---

// The serial of the manifest that was accepted last from each repository: an older one, though
// signed, is somebody's attempt to bring back what was mended.

// One small file for each repository, in the folder "repositories" of the state folder, named after
// the one form of its address. Files of other forms, which were once kept for each spelling, count
// as well until a manifest is accepted; then the one file takes their place. One thread; several
// processes may use the folder. Operations throw TError (kStateUnusable, kDiskFull).
class TSerialStore {
 public:
  // REQUIRES: the address is in the form that messages show it in.
  TSerialStore(const std::string& stateFolder, const std::string& address);

  // The highest; 0 where none was accepted yet.
  std::uint64_t Last() const;
  void Accept(std::uint64_t serial);

 private:
  // Of this repository, under names that are not its own any more.
  std::vector<std::string> FormerNotes() const;

  std::string folder;
  std::string repository;
  std::string path;
  std::string formerPath;  // Of the address as it is written.
};

// Where the user's programs keep what they have to remember: of the XDG Base Directory
// Specification's kind, or below /var/lib for the system's administrator.
std::string DefaultStateFolder();

}  // namespace svc::acquire
