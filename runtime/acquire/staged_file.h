// Files that appear whole or not at all, also when the process is killed or the power fails.
#ifndef RUNTIME_ACQUIRE_STAGED_FILE_H_
#define RUNTIME_ACQUIRE_STAGED_FILE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace svc::acquire {

// A file that is written beside its place and moved there when it is whole. Not published, it is
// removed with the object. One thread. Every operation throws TFailure (kDiskFull,
// kFolderUnwritable).
class TStagedFile {
 public:
  // Makes the file. REQUIRES: nothing stands under that path; its folder exists.
  explicit TStagedFile(std::string path);
  ~TStagedFile();
  TStagedFile(const TStagedFile&) = delete;
  TStagedFile& operator=(const TStagedFile&) = delete;

  void Write(std::string_view bytes);
  void StartOver();
  // Puts the file, on stable storage, in the target's place. The target's folder has to be synced
  // for its name to be stable too. REQUIRES: the target is on the same file system.
  void Publish(const std::string& target);

 private:
  std::string path;
  int descriptor = -1;
};

// Makes the names in a folder stable.
void SyncFolder(const std::string& folder);

// Makes a folder with its parents, their names stable. Throws TFailure.
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
