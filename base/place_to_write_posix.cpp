#include "base/place_to_write.h"

#include <fcntl.h>
#include <limits.h>
#include <linux/magic.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <utility>

namespace svc::files {

namespace {

constexpr std::size_t kLongestName = 255;

[[noreturn]] void Fail(int error) { throw TFileError(error); }

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
    throw TFileError(EACCES, "the link \"" + foreign->second +
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

}  // namespace svc::files
