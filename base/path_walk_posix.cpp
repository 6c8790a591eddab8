#include <fcntl.h>
#include <limits.h>
#include <linux/capability.h>
#include <linux/magic.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/auxv.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <vector>

#include "base/path_walk.h"

namespace svc::files {

namespace {

constexpr int kMostLinks = 40;  // As the system's own.
constexpr int kToLook = O_PATH | O_NOFOLLOW | O_CLOEXEC;

struct stat StatusOf(const TDescriptor& entry) {
  struct stat status {};
  if (::fstat(entry.Get(), &status) != 0) throw FileError(errno);
  return status;
}

std::string TargetOf(const TDescriptor& link) {
  std::array<char, PATH_MAX> text;
  const ssize_t size = ::readlinkat(link.Get(), "", text.data(), text.size());
  if (size < 0) throw FileError(errno);
  return {text.data(), static_cast<std::size_t>(size)};
}

class TWalk {
 public:
  // A confined walk takes the folder `root` for "/".
  TWalk(std::optional<int> root, IWayRules& rules) : root(root), rules(rules) {}

  TPlace Go(const std::string& path) {
    if (path.empty()) throw FileError(ENOENT);
    if (path.starts_with('/') || root) {
      StartAtRoot();
    } else {
      Enter(Open(AT_FDCWD, "."), ".");
    }
    Queue(path);
    while (!names.empty()) {
      const std::string name = std::exchange(names.back(), {});
      names.pop_back();
      if (auto place = Step(name)) return std::move(*place);
    }
    return PlaceOf(".");
  }

 private:
  struct TEntered {
    TDescriptor folder;
    std::string path;
  };

  static TDescriptor Open(int folder, const char* name) {
    TDescriptor opened(::openat(folder, name, kToLook | O_DIRECTORY));
    if (!opened) throw FileError(errno);
    return opened;
  }

  const TEntered& Here() const { return way.back(); }

  void Enter(TDescriptor folder, std::string path) {
    rules.Enter(folder, StatusOf(folder), path);
    way.push_back({std::move(folder), std::move(path)});
  }

  void StartAtRoot() {
    way.clear();
    Enter(root ? Open(*root, ".") : Open(AT_FDCWD, "/"), "/");
  }

  // Puts the names of a path behind those that are left, in reverse: the next one is taken off the
  // end.
  void Queue(const std::string& path) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= path.size();) {
      const std::size_t end = std::min(path.find('/', begin), path.size());
      if (end > begin) parts.push_back(path.substr(begin, end - begin));
      begin = end + 1;
    }
    if (path.ends_with('/')) parts.emplace_back(".");  // Which only a folder has.
    names.insert(names.end(), std::make_move_iterator(parts.rbegin()),
                 std::make_move_iterator(parts.rend()));
  }

  // The place where the walk ends, if it does.
  std::optional<TPlace> Step(const std::string& name) {
    if (name == ".") return {};
    if (name == "..") {
      Leave();
      return {};
    }
    TDescriptor entry(::openat(Here().folder.Get(), name.c_str(), kToLook));
    if (!entry && errno == ENOENT && names.empty()) return PlaceOf(name);
    if (!entry) throw FileError(errno);
    const struct stat status = StatusOf(entry);
    const std::string path = Below(Here().path, name);
    if (S_ISDIR(status.st_mode)) {
      Enter(std::move(entry), path);
      return {};
    }
    if (S_ISLNK(status.st_mode) && rules.Follows(entry, status, path, names.empty())) {
      Follow(entry);
      return {};
    }
    if (!names.empty()) throw FileError(S_ISLNK(status.st_mode) ? ELOOP : ENOTDIR);
    return PlaceOf(name, std::move(entry), status);
  }

  void Leave() {
    if (way.size() > 1) {
      way.pop_back();
    } else if (!root && Here().path != "/") {
      TDescriptor above = Open(Here().folder.Get(), "..");
      const std::string path = Below(Here().path, "..");
      way.clear();
      Enter(std::move(above), path);
    }
  }

  void Follow(const TDescriptor& link) {
    if (++links > kMostLinks) throw FileError(ELOOP);
    const std::string target = TargetOf(link);
    if (target.empty()) throw FileError(ENOENT);
    if (target.starts_with('/')) StartAtRoot();
    Queue(target);
  }

  TPlace PlaceOf(const std::string& name, TDescriptor entry = TDescriptor(),
                 const struct stat& status = {}) {
    TEntered& last = way.back();
    return {std::move(last.folder), std::move(last.path), name, std::move(entry), status};
  }

  std::optional<int> root;
  IWayRules& rules;
  std::vector<TEntered> way;
  std::vector<std::string> names;
  int links = 0;
};

}  // namespace

std::string Below(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

std::string TPlace::Path() const { return name == "." ? folderPath : Below(folderPath, name); }

TPlace Walk(const std::string& path, IWayRules& rules) { return TWalk({}, rules).Go(path); }

TPlace WalkBelow(int root, const std::string& path, IWayRules& rules) {
  return TWalk(root, rules).Go(path);
}

TDescriptor::~TDescriptor() {
  if (number >= 0) ::close(number);
}

std::string TDescriptor::Path() const { return "/proc/self/fd/" + std::to_string(number); }

// --- Who may write ---

namespace {

constexpr std::size_t kLargestList = std::size_t{1} << 16;  // XATTR_SIZE_MAX

using TEntry = posix_acl_xattr_entry;

bool IsPrivate(gid_t group, uid_t owner) { return group != 0 && group == owner; }

// None where there is no list. An unreadable one is told by an entry for everybody.
std::optional<std::vector<TEntry>> AccessListOf(const TDescriptor& file) {
  // By its name below /proc, since fgetxattr(2) takes no descriptor that was opened to look only.
  std::vector<char> bytes(kLargestList);
  const ssize_t size =
      ::getxattr(file.Path().c_str(), "system.posix_acl_access", bytes.data(), bytes.size());
  if (size < 0 && (errno == ENODATA || errno == EOPNOTSUPP)) return {};
  constexpr auto kHead = static_cast<ssize_t>(sizeof(posix_acl_xattr_header));
  if (size < kHead) return std::vector{TEntry{ACL_GROUP, ACL_WRITE, 0}};
  std::vector<TEntry> entries(static_cast<std::size_t>(size - kHead) / sizeof(TEntry));
  std::copy_n(bytes.data() + kHead, entries.size() * sizeof(TEntry),
              reinterpret_cast<char*>(entries.data()));
  return entries;
}

bool LetsOthersWrite(const TEntry& entry, const struct stat& status, TIsTrusted* isTrusted) {
  if ((entry.e_perm & ACL_WRITE) == 0) return false;
  switch (entry.e_tag) {
    case ACL_USER:
      return entry.e_id != status.st_uid && !isTrusted(entry.e_id);
    case ACL_GROUP_OBJ:
      return !IsPrivate(status.st_gid, status.st_uid);
    case ACL_GROUP:
      return !IsPrivate(entry.e_id, status.st_uid);
    default:
      return false;
  }
}

bool HasCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  return ::syscall(SYS_capget, &header, data) != 0 || data[0].permitted != 0 ||
         data[1].permitted != 0;
}

}  // namespace

bool OthersMayWrite(const TDescriptor& file, const struct stat& status, TIsTrusted* isTrusted) {
  if ((status.st_mode & S_IWOTH) != 0) return true;
  // Where there is an access list, this bit is the bound of what its entries give.
  if ((status.st_mode & S_IWGRP) == 0) return false;
  const auto list = AccessListOf(file);
  if (!list) return !IsPrivate(status.st_gid, status.st_uid);
  for (const TEntry& entry : *list) {
    if (LetsOthersWrite(entry, status, isTrusted)) return true;
  }
  return false;
}

bool HasMoreRightsThanItsUser() {
  return ::geteuid() != 0 && (::getauxval(AT_SECURE) != 0 || HasCapabilities());
}

// --- Where a file is written ---

namespace {

bool IsOwn(uid_t user) { return user == 0 || user == ::geteuid(); }

// Follows the links on the way to a file that is going to be written, as base/files.h says.
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
    if (::fstat(place.folder.Get(), &folder) != 0) throw FileError(errno);
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

// The name of what a link of /proc leads to; empty for a pipe or a device, which has none.
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

}  // namespace svc::files
