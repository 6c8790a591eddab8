// The folder that receives the files, and its neighbours: "F.part" for files on their way and
// "F.lock". Nothing but whole, verified files ever stands in the folder itself.
#ifndef RUNTIME_ACQUIRE_DOWNLOAD_FOLDER_H_
#define RUNTIME_ACQUIRE_DOWNLOAD_FOLDER_H_

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "runtime/acquire/folder_lock.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/watch.h"

namespace svc::acquire {

// Belongs to one download from its making to its end: others wait. One thread. Operations throw
// TFailure.
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
  // Makes the names of published files stable.
  void Sync() const;

 private:
  std::string path;
  std::string staging;
  const std::filesystem::path stagingFolder;  // To remove it takes no memory.
  std::optional<TFolderLock> lock;
  int stagedFiles = 0;
};

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_DOWNLOAD_FOLDER_H_
