#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/place_to_write.h"

namespace svc::files {

namespace {

constexpr mode_t kMode = 0666;

[[noreturn]] void Fail(int error) { throw TFileError(error); }

TDescriptor Make(const TPlace& place, const std::string& name, int flags) {
  constexpr int kNew = O_CREAT | O_EXCL | O_NOFOLLOW;
  TDescriptor file(::openat(place.folder.Get(), name.c_str(), flags | kNew, kMode));
  if (!file) Fail(errno);
  return file;
}

// Puts a new file in the place of what is there.
TDescriptor Replace(const TPlace& place, int flags) {
  const int folder = place.folder.Get();
  const std::string part = UnforeseeableName(place.name);
  TDescriptor file = Make(place, part, flags);
  if (::renameat(folder, part.c_str(), folder, place.name.c_str()) == 0) return file;
  const int error = errno;
  ::unlinkat(folder, part.c_str(), 0);
  Fail(error);
}

// What was found there, and nothing that was put there since.
TDescriptor OpenFound(const TPlace& place, int flags) {
  const bool isLink = S_ISLNK(place.status.st_mode);
  struct stat opened {};
  TDescriptor file(::openat(place.folder.Get(), place.name.c_str(),
                            flags | O_NOCTTY | (isLink ? 0 : O_NOFOLLOW)));
  if (!file || ::fstat(file.Get(), &opened) != 0) Fail(errno);
  const bool isSame = opened.st_dev == place.status.st_dev && opened.st_ino == place.status.st_ino;
  if (isLink ? S_ISREG(opened.st_mode) : !isSame) Fail(EBUSY);
  return file;
}

// A further name of a file may have been given to it by somebody who may not write to it.
bool IsSafeInPlace(const TPlace& place) {
  return S_ISREG(place.status.st_mode) && place.status.st_nlink == 1;
}

TDescriptor OpenFile(const TPlace& place, EStart start, int flags) {
  if (IsSafeInPlace(place)) {
    TDescriptor file = OpenFound(place, flags);
    if (start == EStart::kEmpty && ::ftruncate(file.Get(), 0) != 0) Fail(errno);
    return file;
  }
  if (start == EStart::kEmpty) return Replace(place, flags);
  throw TFileError(EMLINK,
                   "it is a link of another user's, or a file with several names; give "
                   "a copy of it");
}

TDescriptor Open(const TPlace& place, EStart start) {
  const int flags = O_WRONLY | O_CLOEXEC | (start == EStart::kBehind ? O_APPEND : 0);
  switch (KindOf(place)) {
    case ENamed::kNothing:
      return Make(place, place.name, flags);
    case ENamed::kFolder:
      Fail(EISDIR);
    case ENamed::kFile:
      return OpenFile(place, start, flags);
    case ENamed::kOther:
      return OpenFound(place, flags);
  }
  Fail(EINVAL);
}

}  // namespace

std::FILE* OpenInPlace(const std::string& path, EStart start) {
  TDescriptor file = Open(FindPlace(path), start);
  std::FILE* const stream = ::fdopen(file.Get(), start == EStart::kBehind ? "ab" : "wb");
  if (stream == nullptr) Fail(errno);
  file.Release();
  return stream;
}

int Truncate(std::FILE* file, std::uint64_t size) noexcept {
  return ::ftruncate(::fileno(file), static_cast<off_t>(size)) == 0 ? 0 : errno;
}

int Sync(std::FILE* file) noexcept {
  if (std::fflush(file) != 0) return errno;
  // A pipe or a device has nothing to sync.
  return ::fsync(::fileno(file)) == 0 || errno == EINVAL ? 0 : errno;
}

}  // namespace svc::files
