#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "runtime/acquire/download_folder.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {

// REQUIRES: errno is that of the failure.
static TError CannotWrite(const std::string& path) {
  return DownloadError(EOutcome::kFolderUnwritable,
                       path + " cannot be written: " + std::strerror(errno));
}

// An absolute path, or nothing: a relative one is to be ignored.
static std::string FolderVariable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? value : "";
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

int OpenLockFile(const std::string& path) {
  const int descriptor =
      open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
  if (descriptor < 0)
    throw DownloadError(EOutcome::kFolderUnwritable,
                        path + " cannot be opened: " + std::strerror(errno));
  return descriptor;
}

bool TryLock(int descriptor, const std::string& path) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return true;
  if (errno == EWOULDBLOCK || errno == EINTR) return false;
  throw DownloadError(EOutcome::kFolderUnwritable,
                      path + " cannot be locked: " + std::strerror(errno));
}

void CloseLockFile(int descriptor) noexcept { close(descriptor); }

std::string DefaultStateFolder() {
  if (geteuid() == 0) return "/var/lib/svcheck";
  if (const std::string state = FolderVariable("XDG_STATE_HOME"); !state.empty())
    return state + "/svcheck";
  return FolderVariable("HOME") + "/.local/state/svcheck";
}

}  // namespace svc::acquire
