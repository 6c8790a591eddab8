#include <sys/stat.h>
#include <unistd.h>
#include <cstdlib>

#include "base/path_walk.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"

namespace fs = std::filesystem;
namespace svc {

static fs::path UserFolder(const char* variable, const char* belowHome) {
  // The XDG Base Directory rules: a relative path in the variable is ignored.
  if (const char* named = std::getenv(variable); named != nullptr && named[0] == '/') {
    return fs::path(named) / "svcheck";
  }
  const char* home = std::getenv("HOME");
  return fs::path(home != nullptr && home[0] == '/' ? home : "/") / belowHome / "svcheck";
}

fs::path ProgramFolder() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) {
    throw TError("cannot tell where the program lies, /proc/self/exe: " + error.message() +
                 "; mount /proc, or give --plugin and --data-dir");
  }
  return program.parent_path();
}

fs::path DefaultDataFolder() { return ProgramFolder().parent_path() / "share" / "svcheck"; }

fs::path DefaultPlugin() { return ProgramFolder().parent_path() / "lib" / "libsvchecker.so"; }

fs::path PublicFirmwarePlugin() { return DefaultPlugin().replace_filename("libpublicfirmware.so"); }

fs::path Absolute(const std::string& path) {
  if (path.empty()) throw TError("a path is empty; name a file or a folder", EErrorKind::kUsage);
  return fs::absolute(path).lexically_normal();
}

fs::path StateFolder() {
  if (::geteuid() == 0) return "/var/lib/svcheck";
  return UserFolder("XDG_STATE_HOME", ".local/state");
}

fs::path ConfigFolder() { return UserFolder("XDG_CONFIG_HOME", ".config"); }

fs::path DownloadFolder() { return fs::path(DriveRoot()) / "c/QRX_Support/SV"; }
fs::path SystemConfigFolder() { return "/etc/svcheck"; }

bool OthersMayWrite(std::FILE* file) {
  constexpr auto kIsTrusted = [](uid_t user) { return user == 0 || user == ::geteuid(); };
  const files::TDescriptor own(::dup(::fileno(file)));
  struct stat status {};
  if (!own || ::fstat(own.Get(), &status) != 0) return true;
  return !kIsTrusted(status.st_uid) || files::OthersMayWrite(own, status, kIsTrusted);
}

bool MayWriteTo(const fs::path& folder) { return ::access(folder.c_str(), W_OK | X_OK) == 0; }

}  // namespace svc

namespace svc::fleet {

std::vector<fs::path> FilesBelow(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    std::error_code unreadable;
    if (!entry.is_directory(unreadable)) files.push_back(entry.path());
  }
  return files;
}

}  // namespace svc::fleet
