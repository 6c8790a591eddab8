#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "runtime/acquire/outcome.h"
#include "runtime/acquire/staged_file.h"

namespace svc::acquire {
namespace {

// REQUIRES: errno is that of the failure.
TFailure CannotWrite(const std::string& path) {
  const int error = errno;
  const std::string text = path + " cannot be written: " + std::strerror(error);
  if (error == ENOSPC || error == EDQUOT)
    return {EOutcome::kDiskFull, text + "; make room there and start again"};
  if (error == EXDEV)
    return {EOutcome::kFolderUnwritable,
            path +
                " is a file system of its own; a download needs the same one for the folder "
                "and its neighbours: mount the parent folder instead"};
  return {EOutcome::kFolderUnwritable, text};
}

}  // namespace

TStagedFile::TStagedFile(std::string where) : path(std::move(where)) {
  descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (descriptor < 0) throw CannotWrite(path);
}

TStagedFile::~TStagedFile() {
  if (descriptor >= 0) close(descriptor);
  if (!path.empty()) unlink(path.c_str());
}

void TStagedFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw CannotWrite(path);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void TStagedFile::StartOver() {
  if (ftruncate(descriptor, 0) != 0 || lseek(descriptor, 0, SEEK_SET) != 0) throw CannotWrite(path);
}

void TStagedFile::Publish(const std::string& target) {
  if (fsync(descriptor) != 0) throw CannotWrite(path);
  const int closing = descriptor;
  descriptor = -1;
  if (close(closing) != 0 && errno != EINTR) throw CannotWrite(path);
  if (std::rename(path.c_str(), target.c_str()) != 0) throw CannotWrite(target);
  path.clear();
}

void SyncFolder(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) throw CannotWrite(folder);
  // Some file systems have nothing to sync for a folder and say EINVAL.
  const bool isSynced = fsync(descriptor) == 0 || errno == EINVAL;
  const int error = errno;
  close(descriptor);
  errno = error;
  if (!isSynced) throw CannotWrite(folder);
}

void MakeFolders(const std::string& folder) {
  const std::filesystem::path path(folder);
  if (std::filesystem::is_directory(path)) return;
  if (path.has_parent_path() && path.parent_path() != path) MakeFolders(path.parent_path());
  if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) throw CannotWrite(folder);
  if (!std::filesystem::is_directory(path)) {
    errno = ENOTDIR;
    throw CannotWrite(folder);
  }
  SyncFolder(path.has_parent_path() ? path.parent_path().string() : ".");
}

TPlainFile::TPlainFile(const std::string& path)
    : descriptor(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)),
      isMissing(descriptor < 0 && errno == ENOENT) {
  struct stat status;
  if (descriptor < 0 || (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))) return;
  close(descriptor);
  descriptor = -1;
}

TPlainFile::~TPlainFile() {
  if (descriptor >= 0) close(descriptor);
}

std::uint64_t TPlainFile::Size() const {
  struct stat status;
  return fstat(descriptor, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::string_view TPlainFile::Read(std::string& buffer) {
  buffer.resize(std::size_t{1} << 16);
  ssize_t size = 0;
  do {
    size = read(descriptor, buffer.data(), buffer.size());
  } while (size < 0 && errno == EINTR);
  return {buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
}

}  // namespace svc::acquire
