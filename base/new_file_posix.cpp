#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "base/new_file.h"
#include "base/place_to_write.h"

namespace svc::files {

namespace {

constexpr mode_t kModeBits = 0777;

[[noreturn]] void Fail(int error) { throw FileError(error); }

int SyncDescriptor(int file) noexcept {
  // Some file systems have nothing to sync and say EINVAL.
  return ::fsync(file) == 0 || errno == EINVAL ? 0 : errno;
}

// For syncing its names; none where it cannot be read, only written to.
TDescriptor OpenForSync(const TDescriptor& folder) {
  TDescriptor opened(::openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened && errno != EACCES) Fail(errno);
  return opened;
}

// A pipe or a device is not made a file of.
void CheckIsReplaceable(ENamed kind) {
  if (kind == ENamed::kFolder) Fail(EISDIR);
  if (kind == ENamed::kOther) throw FileError(EINVAL, "it is a pipe or a device and no file");
}

}  // namespace

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

}  // namespace svc::files
