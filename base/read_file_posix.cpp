#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cerrno>

#include "base/path_walk.h"
#include "base/read_file.h"

namespace svc::files {

namespace {

// Pipes without a name lie in a file system of their own.
bool IsGivenPipe(const TDescriptor& file, const struct stat& status) {
  struct statfs system {};
  if (S_ISCHR(status.st_mode)) return status.st_rdev == ::makedev(1, 3);  // /dev/null
  return S_ISFIFO(status.st_mode) && ::fstatfs(file.Get(), &system) == 0 &&
         system.f_type == PIPEFS_MAGIC;
}

const char* KindOf(const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return "it is a folder";
  if (S_ISFIFO(status.st_mode)) return "it is a pipe and no file";
  return "it is a device and no file";
}

void LetWait(const TDescriptor& file) {
  const int flags = ::fcntl(file.Get(), F_GETFL);
  if (flags == -1 || ::fcntl(file.Get(), F_SETFL, flags & ~O_NONBLOCK) == -1) {
    throw FileError(errno);
  }
}

}  // namespace

std::FILE* OpenToRead(const std::string& path, EPipes pipes) {
  TDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  // The system's own way to say that it is a socket.
  if (!file && errno == ENXIO) throw FileError(ENXIO, "it is a socket and no file");
  struct stat status {};
  if (!file || ::fstat(file.Get(), &status) != 0) throw FileError(errno);
  const bool isFile = S_ISREG(status.st_mode);
  if (!isFile && (pipes == EPipes::kNone || !IsGivenPipe(file, status))) {
    throw FileError(EINVAL, KindOf(status));
  }
  LetWait(file);
  std::FILE* const stream = ::fdopen(file.Get(), "rb");
  if (stream == nullptr) throw FileError(errno);
  file.Release();
  return stream;
}

}  // namespace svc::files
