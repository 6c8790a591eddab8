#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "runtime/hskcore/host_setup.h"

namespace NQRXHSK20 {

namespace {

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

bool StartsWithDrive(const std::string& path) {
  return path.size() >= 2 && IsLetter(path[0]) && path[1] == ':' &&
         (path.size() == 2 || path[2] == '/');
}

std::string Mapped(const std::string& path) {
  std::string native = path;
  std::replace(native.begin(), native.end(), '\\', '/');
  if (!StartsWithDrive(native)) {
    return native;
  }
  const char drive = static_cast<char>(native[0] | 0x20);
  return svc::DriveRoot() + "/" + drive + native.substr(2);
}

[[noreturn]] void ThrowUnreadable(const std::string& path, const std::string& cause) {
  throw THSKException("\"" + path + "\": " + cause, THSKStatusCode::kFileUnreadable);
}

std::string ErrorText(int error) { return std::generic_category().message(error); }

bool IsMissing(int error) { return error == ENOENT || error == ENOTDIR; }

struct TCloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Null, with errno 0 at the end of the folder.
const dirent* NextEntry(DIR* folder) {
  errno = 0;
  return readdir(folder);
}

std::vector<std::string> ReadNames(DIR* folder, const std::string& path) {
  std::vector<std::string> names;
  while (const dirent* entry = NextEntry(folder)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") {
      names.push_back(name);
    }
  }
  if (errno != 0) {
    ThrowUnreadable(path, ErrorText(errno));
  }
  return names;
}

}  // namespace

const char* const TOSSpecific::kFileSeparator = "/";

// The root folder is the empty text: a separator and a name behind it make a path.
std::string TOSSpecific::GetCurrentDir() {
  std::error_code error;
  std::string folder = std::filesystem::current_path(error).string();
  if (error) {
    ThrowUnreadable(".", error.message());
  }
  return folder == "/" ? "" : folder;
}

std::uint64_t TOSSpecific::GetFileSize(const std::string& path) {
  svc::PrepareFile(path, Mapped(path));
  struct stat status;
  if (stat(NativePath(path).c_str(), &status) != 0) {
    const int error = errno;
    if (IsMissing(error)) {
      throw THSKException("\"" + path + "\" does not exist", THSKStatusCode::kFileNotFound);
    }
    ThrowUnreadable(path, ErrorText(error));
  }
  if (!S_ISREG(status.st_mode)) {
    ThrowUnreadable(path, S_ISDIR(status.st_mode) ? "is a folder" : "is no regular file");
  }
  return static_cast<std::uint64_t>(status.st_size);
}

std::vector<std::string> TOSSpecific::ListDir(const std::string& path) {
  const std::unique_ptr<DIR, TCloseFolder> folder(opendir(NativePath(path).c_str()));
  if (!folder) {
    const int error = errno;
    if (error == ENOENT) {
      return {};
    }
    ThrowUnreadable(path, ErrorText(error));
  }
  std::vector<std::string> names = ReadNames(folder.get(), path);
  std::sort(names.begin(), names.end());
  return names;
}

std::string TOSSpecific::NativePath(const std::string& path) {
  return svc::OpenedFor(path, Mapped(path));
}

}  // namespace NQRXHSK20

namespace svc {

std::string DefaultDriveRoot() {
  constexpr const char* kFolder = "/svcheck/drives";
  if (geteuid() == 0) {
    return std::string("/var/lib") + kFolder;
  }
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') {
    return std::string(state) + kFolder;
  }
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && home[0] == '/' ? home : "") + "/.local/state" + kFolder;
}

std::FILE* OpenNativeFile(const std::string& path, const char* mode) {
  return std::fopen(path.c_str(), mode);
}

bool ReserveRoom(std::FILE* file, std::uint64_t from, std::uint64_t size) noexcept {
  return fallocate(fileno(file), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(from),
                   static_cast<off_t>(size)) == 0;
}

// To its own size: another process may have made it longer.
void ReleaseRoom(std::FILE* file) noexcept {
  struct stat status;
  if (fstat(fileno(file), &status) != 0) return;
  [[maybe_unused]] const int kept = ftruncate(fileno(file), status.st_size);
}

std::string FileStamp(const std::string& native) {
  struct stat status;
  if (stat(native.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  std::string stamp;
  const auto add = [&](auto number) { stamp.append(std::to_string(number)) += ' '; };
  add(status.st_dev);
  add(status.st_ino);
  add(status.st_size);
  for (const timespec& time : {status.st_mtim, status.st_ctim}) {
    add(time.tv_sec);
    add(time.tv_nsec);
  }
  return stamp;
}

// Nobody else can name it, and it goes with its last descriptor.
TMemoryFile::TMemoryFile(std::string_view bytes)
    : file(memfd_create("svcheck-document", MFD_CLOEXEC)) {
  if (file == -1 || write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    return;
  std::string name = "/proc/self/fd/" + std::to_string(file);
  if (access(name.c_str(), R_OK) == 0) path = std::move(name);
}

TMemoryFile::~TMemoryFile() {
  if (file != -1) close(file);
}

std::size_t BlockSize(void* block) noexcept { return malloc_usable_size(block); }

}  // namespace svc
