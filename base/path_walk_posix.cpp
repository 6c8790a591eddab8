#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <utility>
#include <vector>

#include "base/file_error.h"
#include "base/path_walk.h"

namespace svc::files {

namespace {

constexpr int kMostLinks = 40;  // As the system's own.
constexpr int kToLook = O_PATH | O_NOFOLLOW | O_CLOEXEC;

struct stat StatusOf(const TDescriptor& entry) {
  struct stat status {};
  if (::fstat(entry.Get(), &status) != 0) throw TFileError(errno);
  return status;
}

std::string TargetOf(const TDescriptor& link) {
  std::array<char, PATH_MAX> text;
  const ssize_t size = ::readlinkat(link.Get(), "", text.data(), text.size());
  if (size < 0) throw TFileError(errno);
  return {text.data(), static_cast<std::size_t>(size)};
}

class TWalk {
 public:
  // A confined walk takes the folder `root` for "/".
  TWalk(std::optional<int> root, IWayRules& rules) : root(root), rules(rules) {}

  TPlace Go(const std::string& path) {
    if (path.empty()) throw TFileError(ENOENT);
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
    if (!opened) throw TFileError(errno);
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

  // The last name of the path is the first one of the list.
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
    if (!entry) throw TFileError(errno);
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
    if (!names.empty()) throw TFileError(S_ISLNK(status.st_mode) ? ELOOP : ENOTDIR);
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
    if (++links > kMostLinks) throw TFileError(ELOOP);
    const std::string target = TargetOf(link);
    if (target.empty()) throw TFileError(ENOENT);
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

}  // namespace svc::files
