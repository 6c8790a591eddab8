#include <fcntl.h>
#include <linux/magic.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "base/files.h"
#include "base/path_walk.h"

namespace svc::files {

constexpr mode_t kModeBits = 0777;

[[noreturn]] static void Fail(int error) { throw FileError(error); }

static int SyncDescriptor(int file) noexcept {
  // Some file systems have nothing to sync and say EINVAL.
  return ::fsync(file) == 0 || errno == EINVAL ? 0 : errno;
}

// The folder opened so that its names can be synced; none where it may be written to but not read.
static TDescriptor OpenForSync(const TDescriptor& folder) {
  TDescriptor opened(::openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened && errno != EACCES) Fail(errno);
  return opened;
}

// For a file beside the one of that name.
static std::string UnforeseeableName(const std::string& name) {
  std::array<unsigned char, 16> bytes;
  if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) Fail(errno);
  constexpr std::size_t kLongestName = 255;
  std::string suffix = ".svcheck-";
  for (const unsigned char byte : bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    suffix += {kDigits[byte >> 4U], kDigits[byte & 15U]};
  }
  return name.substr(0, kLongestName - suffix.size()) + suffix;
}

// Refuses what a file must not take the place of.
static void CheckIsReplaceable(ENamed kind) {
  if (kind == ENamed::kFolder) Fail(EISDIR);
  if (kind == ENamed::kOther) throw FileError(EINVAL, "it is a pipe or a device and no file");
}

struct TNewFile::TState {
  TPlace place;
  std::string part;
  TDescriptor file;
  bool isThere = false;

  ~TState() {
    if (isThere) ::unlinkat(place.folder.Get(), part.c_str(), 0);
  }
  void TakeModeOfOld();
  void Finish();
  void Move(const TPlace& target, unsigned flags);
};

void TNewFile::Put(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(state->file.Get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail(errno);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void TNewFile::TState::TakeModeOfOld() {
  struct stat old {};
  struct stat own {};
  const int flags = AT_SYMLINK_NOFOLLOW;
  if (::fstatat(place.folder.Get(), place.name.c_str(), &old, flags) != 0) return;
  if (!S_ISREG(old.st_mode)) return;
  if (::fstat(file.Get(), &own) != 0) Fail(errno);
  const mode_t mode = old.st_mode & kModeBits;
  if ((own.st_mode & kModeBits) != mode && ::fchmod(file.Get(), mode) != 0) Fail(errno);
}

void TNewFile::TState::Finish() {
  if (const int error = SyncDescriptor(file.Get()); error != 0) Fail(error);
  if (::close(file.Release()) != 0 && errno != EINTR) Fail(errno);
}

void TNewFile::TState::Move(const TPlace& target, unsigned flags) {
  const int from = place.folder.Get();
  const int to = target.folder.Get();
  const char* const name = target.name.c_str();
  const bool isMoved = flags == 0 ? ::renameat(from, part.c_str(), to, name) == 0
                                  : ::renameat2(from, part.c_str(), to, name, flags) == 0;
  if (isMoved) {
    isThere = false;
    return;
  }
  // Not all file systems know how to keep what is there; those have names that are added.
  if (flags == 0 || (errno != EINVAL && errno != ENOSYS)) Fail(errno);
  if (::linkat(from, part.c_str(), to, name, 0) != 0) Fail(errno);
}

ENamed WhatIsNamed(const std::string& path) { return KindOf(FindPlace(path)); }

TNewFile::TNewFile(const std::string& target, const TAnnounce& announce, unsigned mode)
    : state(std::make_unique<TState>()) {
  state->place = FindPlace(target);
  CheckIsReplaceable(KindOf(state->place));
  state->part = UnforeseeableName(state->place.name);
  if (announce) announce(Below(state->place.folderPath, state->part));
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  state->file = TDescriptor(::openat(state->place.folder.Get(), state->part.c_str(), kFlags, mode));
  if (!state->file) Fail(errno);
  state->isThere = true;
}

TNewFile::~TNewFile() = default;

void TNewFile::StartOver() {
  buffer.clear();
  const int file = state->file.Get();
  if (::ftruncate(file, 0) != 0 || ::lseek(file, 0, SEEK_SET) != 0) Fail(errno);
}

void TNewFile::Publish() {
  const TDescriptor folder = OpenForSync(state->place.folder);
  state->TakeModeOfOld();
  PutBuffer();
  state->Finish();
  state->Move(state->place, 0);
  const int error = folder ? SyncDescriptor(folder.Get()) : 0;
  if (error == 0) return;
  throw FileError(error,
                  "it is written, but the names in its folder cannot be put on stable "
                  "storage: " +
                      std::generic_category().message(error));
}

void TNewFile::PublishFirst() {
  const TDescriptor folder = OpenForSync(state->place.folder);
  PutBuffer();
  state->Finish();
  state->Move(state->place, RENAME_NOREPLACE);
  const int error = folder ? SyncDescriptor(folder.Get()) : 0;
  if (error != 0) Fail(error);
}

void TNewFile::PublishAs(const std::string& path) {
  const TPlace target = FindPlace(path, ELastLink::kKept);
  if (target.name == ".") Fail(EISDIR);
  PutBuffer();
  state->Finish();
  state->Move(target, 0);
}

// --- Reading ---

// Pipes without a name lie in a file system of their own.
static bool IsGivenPipe(const TDescriptor& file, const struct stat& status) {
  struct statfs system {};
  if (S_ISCHR(status.st_mode)) return status.st_rdev == ::makedev(1, 3);  // /dev/null
  return S_ISFIFO(status.st_mode) && ::fstatfs(file.Get(), &system) == 0 &&
         system.f_type == PIPEFS_MAGIC;
}

static const char* WhyRefused(const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return "it is a folder";
  if (S_ISFIFO(status.st_mode)) return "it is a pipe and no file";
  return "it is a device and no file";
}

static void LetWait(const TDescriptor& file) {
  const int flags = ::fcntl(file.Get(), F_GETFL);
  if (flags == -1 || ::fcntl(file.Get(), F_SETFL, flags & ~O_NONBLOCK) == -1) {
    throw FileError(errno);
  }
}

std::FILE* OpenToRead(const std::string& path, EPipes pipes) {
  TDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  // ENXIO is how the system says that the name is a socket's.
  if (!file && errno == ENXIO) throw FileError(ENXIO, "it is a socket and no file");
  struct stat status {};
  if (!file || ::fstat(file.Get(), &status) != 0) throw FileError(errno);
  const bool isFile = S_ISREG(status.st_mode);
  if (!isFile && (pipes == EPipes::kNone || !IsGivenPipe(file, status))) {
    throw FileError(EINVAL, WhyRefused(status));
  }
  LetWait(file);
  std::FILE* const stream = ::fdopen(file.Get(), "rb");
  if (stream == nullptr) throw FileError(errno);
  file.Release();
  return stream;
}

// --- Writing in place ---

constexpr mode_t kMode = 0666;

static TDescriptor Make(const TPlace& place, const std::string& name, int flags) {
  constexpr int kNew = O_CREAT | O_EXCL | O_NOFOLLOW;
  TDescriptor file(::openat(place.folder.Get(), name.c_str(), flags | kNew, kMode));
  if (!file) Fail(errno);
  return file;
}

// Puts a new file in the place of what is there.
static TDescriptor Replace(const TPlace& place, int flags) {
  const int folder = place.folder.Get();
  const std::string part = UnforeseeableName(place.name);
  TDescriptor file = Make(place, part, flags);
  if (::renameat(folder, part.c_str(), folder, place.name.c_str()) == 0) return file;
  const int error = errno;
  ::unlinkat(folder, part.c_str(), 0);
  Fail(error);
}

// What was found there, and nothing that was put there since. A pipe waits for nobody to read it.
static TDescriptor OpenFound(const TPlace& place, int flags) {
  const bool isLink = S_ISLNK(place.status.st_mode);
  struct stat opened {};
  TDescriptor file(::openat(place.folder.Get(), place.name.c_str(),
                            flags | O_NONBLOCK | O_NOCTTY | (isLink ? 0 : O_NOFOLLOW)));
  if (!file && errno == ENXIO)
    throw FileError(ENXIO, "it is a pipe that nobody reads, or a socket");
  if (!file || ::fstat(file.Get(), &opened) != 0) Fail(errno);
  const bool isSame = opened.st_dev == place.status.st_dev && opened.st_ino == place.status.st_ino;
  if (isLink ? S_ISREG(opened.st_mode) : !isSame) Fail(EBUSY);
  LetWait(file);
  return file;
}

// A further name of a file may have been given to it by somebody who may not write to it.
static bool IsSafeInPlace(const TPlace& place) {
  return S_ISREG(place.status.st_mode) && place.status.st_nlink == 1;
}

// Whether nobody but root and the user of the process can put one file in the place of another.
// However often a name is looked at, whoever can is quicker some time.
static bool IsFolderTrusted(const TPlace& place) {
  struct stat folder {};
  if (::fstat(place.folder.Get(), &folder) != 0) return false;
  const bool isShared = (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  return (folder.st_uid == 0 || folder.st_uid == ::geteuid()) &&
         (!isShared || (folder.st_mode & S_ISVTX) != 0);
}

// The name by which the file was opened, where that was not taken away since. One that was, and was
// given anew, is another name to the system.
static std::string NameOf(const TDescriptor& file) {
  std::string path(PATH_MAX, '\0');
  const ssize_t size = ::readlink(file.Path().c_str(), path.data(), path.size());
  path.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return path.substr(path.find_last_of('/') + 1);
}

// The system looks a name up and counts the names of what it found one after the other: who renames
// in between shows a file as one of a single name that has another. So it is counted once more, and
// behind that the name is still the one by which the file was opened: then it was the counted one.
static void RequireAlone(const TDescriptor& file, const TPlace& place) {
  struct stat opened {};
  struct stat named {};
  const bool isTold =
      ::fstat(file.Get(), &opened) == 0 &&
      ::fstatat(place.folder.Get(), place.name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0;
  const bool isSame = opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
  if (!isTold || !isSame || opened.st_nlink != 1 || named.st_nlink != 1) Fail(EBUSY);
  if (!IsFolderTrusted(place) && NameOf(file) != place.name) Fail(EBUSY);
}

static TDescriptor OpenFile(const TPlace& place, EStart start, int flags) {
  if (start == EStart::kEmpty && !IsFolderTrusted(place)) return Replace(place, flags);
  if (IsSafeInPlace(place)) {
    TDescriptor file = OpenFound(place, flags);
    RequireAlone(file, place);
    if (start == EStart::kEmpty && ::ftruncate(file.Get(), 0) != 0) Fail(errno);
    return file;
  }
  if (start == EStart::kEmpty) return Replace(place, flags);
  throw FileError(EMLINK,
                  "it is a link of another user's, or a file with several names; give "
                  "a copy of it");
}

static TDescriptor Open(const TPlace& place, EStart start) {
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
