#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <memory>
#include <system_error>

#include "runtime/plugin.nsp/library.h"
#include "runtime/plugin.nsp/plugin_loader.h"

namespace svc {

namespace {

using TLibraryEntry = int(void* module, unsigned long reason, void* reserved);
constexpr unsigned long kProcessAttach = 1;

[[noreturn]] void Refuse(const std::string& path, const std::string& cause) {
  throw TPluginLoadError("The plug-in \"" + path + "\" cannot be loaded: " + cause);
}

struct stat StatusOf(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) {
    Refuse(path, std::generic_category().message(errno));
  }
  return status;
}

// A group of its owner's own number is the owner's private one.
bool IsWritableByOthers(const struct stat& status) {
  const bool byGroup = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0 &&
                       status.st_gid != static_cast<gid_t>(status.st_uid);
  return byGroup || (status.st_mode & S_IWOTH) != 0;
}

// Whoever owns the program that runs could have put anything in its place: so runs a build of
// somebody's own under sudo.
bool OwnsThisProgram(uid_t user) {
  struct stat status;
  return stat("/proc/self/exe", &status) == 0 && status.st_uid == user;
}

std::string FolderOf(const std::string& path) {
  return path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
}

// `isShared` is for a folder that others may have entries of their own in, such as /tmp.
void CheckOutOfReach(const std::string& plugin, const std::string& path, bool isShared = false) {
  const struct stat status = StatusOf(path);
  if (status.st_uid != 0 && status.st_uid != geteuid() && !OwnsThisProgram(status.st_uid)) {
    Refuse(plugin, "\"" + path + "\" belongs to another user than root or you");
  }
  const bool keepsEntries = isShared && (status.st_mode & S_ISVTX) != 0;
  if (IsWritableByOthers(status) && !keepsEntries) {
    Refuse(plugin, "others may write to \"" + path + "\"; take that right away with: chmod go-w '" +
                       boost::replace_all_copy(path, "'", "'\\''") + "'");
  }
}

// With every symbolic link followed, so that the folder is the one that the file lies in.
std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                         &std::free);
  if (!real) {
    Refuse(path, std::generic_category().message(errno));
  }
  return real.get();
}

}  // namespace

bool IsAbsolutePath(const std::string& path) { return path.starts_with('/'); }

void CheckPluginFile(const std::string& path) {
  const std::string real = RealPath(path);
  if (!S_ISREG(StatusOf(real).st_mode)) {
    Refuse(path, "it is no regular file");
  }
  CheckOutOfReach(path, real);
  CheckOutOfReach(path, FolderOf(real));
  // Who can write to a folder further up can put another in the place of the one below it, unless
  // the folder keeps everybody to their own entries (inode(7), the sticky bit).
  for (std::string above = FolderOf(real); above != "/";) {
    above = FolderOf(above);
    CheckOutOfReach(path, above, true);
  }
}

TLibrary OpenLibrary(const std::string& path) {
  const TLibrary library = dlopen(RealPath(path).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    Refuse(path, dlerror());
  }
  return library;
}

std::string RunEntry(TLibrary library) {
  auto* entry = reinterpret_cast<TLibraryEntry*>(dlsym(library, "LibraryEntry"));
  if (entry == nullptr) {
    return "it has no entry \"LibraryEntry\", so it is no plug-in";
  }
  try {
    return entry(library, kProcessAttach, nullptr) != 0 ? "" : "its entry refused to start";
  } catch (const std::exception& error) {
    return std::string("its entry failed: ") + error.what();
  } catch (...) {
    return "its entry failed with an exception of an unknown kind";
  }
}

void CloseLibrary(TLibrary library) noexcept { dlclose(library); }

}  // namespace svc
