#include <fcntl.h>
#include <limits.h>
#include <linux/magic.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>

#include "base/new_file.h"
#include "base/place_to_write.h"

namespace svc::files {

namespace {

constexpr std::size_t kLongestName = 255;

[[noreturn]] void Fail(int error) { throw FileError(error); }

bool IsOwn(uid_t user) { return user == 0 || user == ::geteuid(); }

// The way to a file that is going to be written.
class TWriterRules : public IWayRules {
 public:
  explicit TWriterRules(bool followsLast) : followsLast(followsLast) {}

  bool Follows(const TDescriptor& link, const struct stat& status, const std::string& path,
               bool isLast) override {
    if (isLast) return followsLast && IsOwn(status.st_uid) && !IsOfKernel(link);
    if (IsOwn(status.st_uid)) return true;
    if (foreign && foreign->first != status.st_uid) Refuse();
    foreign = {status.st_uid, path};
    return true;
  }

  void CheckEnd(const TPlace& place) const {
    struct stat folder {};
    if (!foreign) return;
    if (::fstat(place.folder.Get(), &folder) != 0) Fail(errno);
    if (folder.st_uid != foreign->first) Refuse();
  }

  // A link of /proc, whose text need not be the name of what it leads to.
  static bool IsOfKernel(const TDescriptor& link) {
    struct statfs system {};
    return ::fstatfs(link.Get(), &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
  }

 private:
  [[noreturn]] void Refuse() const {
    throw FileError(EACCES, "the link \"" + foreign->second +
                                "\" on the way there belongs to another user than root or you, "
                                "and leads out of that user's folders");
  }

  bool followsLast;
  std::optional<std::pair<uid_t, std::string>> foreign;
};

TPlace WayTo(const std::string& path, bool followsLast) {
  TWriterRules rules(followsLast);
  TPlace place = Walk(path, rules);
  rules.CheckEnd(place);
  return place;
}

bool IsLink(const TPlace& place) { return place.entry && S_ISLNK(place.status.st_mode); }

// What a link of /proc leads to has a name of its own where it is a file.
std::string NameBehind(const TPlace& place) {
  struct stat behind {};
  std::array<char, PATH_MAX> name;
  if (::fstatat(place.folder.Get(), place.name.c_str(), &behind, 0) != 0) return {};
  if (!S_ISREG(behind.st_mode) && !S_ISDIR(behind.st_mode)) return {};
  const ssize_t size = ::readlinkat(place.entry.Get(), "", name.data(), name.size());
  return size > 0 ? std::string(name.data(), static_cast<std::size_t>(size)) : std::string();
}

}  // namespace

TPlace FindPlace(const std::string& path, ELastLink last) {
  TPlace place = WayTo(path, last == ELastLink::kFollowed);
  if (last == ELastLink::kKept || !IsLink(place) || !IsOwn(place.status.st_uid)) return place;
  const std::string name = NameBehind(place);
  return name.empty() ? std::move(place) : WayTo(name, true);
}

ENamed KindOf(const TPlace& place) {
  if (place.name == ".") return ENamed::kFolder;
  if (!place.entry) return ENamed::kNothing;
  if (S_ISREG(place.status.st_mode)) return ENamed::kFile;
  return IsLink(place) && !IsOwn(place.status.st_uid) ? ENamed::kFile : ENamed::kOther;
}

std::string UnforeseeableName(const std::string& name) {
  std::array<unsigned char, 16> bytes;
  if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) Fail(errno);
  std::string suffix = ".svcheck-";
  for (const unsigned char byte : bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    suffix += {kDigits[byte >> 4U], kDigits[byte & 15U]};
  }
  return name.substr(0, kLongestName - suffix.size()) + suffix;
}

ENamed WhatIsNamed(const std::string& path) { return KindOf(FindPlace(path)); }

namespace {

constexpr mode_t kMode = 0666;

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

// The system looks a name up and counts the names of what it found one after the other: who renames
// in between shows a file as one of a single name that has another. So it is looked at once more
// from both sides before the first byte is written.
void RequireAlone(const TDescriptor& file, const TPlace& place) {
  struct stat opened {};
  struct stat named {};
  const bool isTold =
      ::fstat(file.Get(), &opened) == 0 &&
      ::fstatat(place.folder.Get(), place.name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0;
  const bool isSame = opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
  if (!isTold || !isSame || opened.st_nlink != 1 || named.st_nlink != 1) Fail(EBUSY);
}

TDescriptor OpenFile(const TPlace& place, EStart start, int flags) {
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
