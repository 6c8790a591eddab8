#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "base/error.h"
#include "base/files.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {
namespace {

constexpr std::size_t kMaxFileSize = 64U << 20U;

std::string Relative(const std::string& path) {
  const std::size_t begin = path.find_first_not_of('/');
  return begin == std::string::npos ? "." : path.substr(begin);
}

bool IsSameFolder(int folder, const char* path) {
  struct stat one {};
  struct stat other {};
  return ::fstat(folder, &one) == 0 && ::stat(path, &other) == 0 && one.st_dev == other.st_dev &&
         one.st_ino == other.st_ino;
}

// Without openat2(2): the links are followed here instead of in the kernel.
int WalkInRoot(int root, const std::string& path, int flags) {
  try {
    files::IWayRules all;
    const files::TPlace place = files::WalkBelow(root, path, all);
    return ::openat(place.folder.Get(), place.name.c_str(), flags | O_NOFOLLOW);
  } catch (const TError& error) {
    errno = error.Number();
    return -1;
  }
}

// openat2(2) has no wrapper in the C library, and in older ones no name of its own either. It came
// with Linux 5.6; filters of system calls that are older than it say EPERM.
int OpenInRoot(int root, const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<unsigned>(flags);
  how.resolve = RESOLVE_IN_ROOT;
  const long file = ::syscall(__NR_openat2, root, path.c_str(), &how, sizeof how);
  const bool isMissing = file < 0 && (errno == ENOSYS || errno == EPERM);
  return isMissing ? WalkInRoot(root, path, flags) : static_cast<int>(file);
}

// The size that a file states is no help: it is 0 in /proc and a page in /sys.
int ReadAll(int file, std::string& bytes) {
  std::size_t size = 0;
  for (;;) {
    bytes.resize(std::max<std::size_t>(4096, size * 2));
    const ssize_t count = ::read(file, bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      bytes.resize(size);
      return count < 0 ? errno : 0;
    }
    size += static_cast<std::size_t>(count);
    if (size > kMaxFileSize) return EFBIG;
  }
}

struct TCloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

}  // namespace

TTree::TTree(const std::string& root)
    : root(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)), live(false) {
  if (!this->root) {
    throw TError(root + ": cannot be read as a system tree: " + std::strerror(errno) +
                 "; name a folder that holds etc, proc and sys");
  }
  live = IsSameFolder(this->root.Get(), "/");
}

int TTree::OpenBelow(const std::string& path, int flags) const {
  if (!live) return OpenInRoot(root.Get(), Relative(path), flags);
  return ::openat(root.Get(), Relative(path).c_str(), flags);
}

TDescriptor TTree::Open(const std::string& path, int flags) const {
  struct stat status {};
  TDescriptor file(OpenBelow(path, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file || ::fstat(file.Get(), &status) != 0) return TDescriptor();
  if (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) return file;
  errno = EINVAL;
  return TDescriptor();
}

TRead TTree::Read(const std::string& path) const {
  TRead result;
  const TDescriptor file = Open(path, O_RDONLY);
  result.error = file ? ReadAll(file.Get(), result.bytes) : errno;
  if (result) {
    Remember(path);
  } else {
    result.bytes.clear();
  }
  return result;
}

std::string TTree::ReadLine(const std::string& path) const {
  return CleanText(FirstLine(Read(path).bytes));
}

std::vector<std::string> TTree::List(const std::string& path) const {
  std::vector<std::string> names;
  const TDescriptor folder = Open(path, O_RDONLY | O_DIRECTORY);
  if (!folder) return names;
  const std::unique_ptr<DIR, TCloseFolder> entries(::fdopendir(::dup(folder.Get())));
  if (!entries) return names;
  while (const dirent* entry = ::readdir(entries.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace svc::collect
