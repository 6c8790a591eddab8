// Files that appear whole or not at all, also when the process is killed or the power fails.
#ifndef RUNTIME_ACQUIRE_STAGED_FILE_H_
#define RUNTIME_ACQUIRE_STAGED_FILE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/files.h"

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

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_STAGED_FILE_H_
