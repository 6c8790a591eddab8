#include <sys/stat.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <exception>

#include "base/error.h"
#include "base/module.h"
#include "base/path_walk.h"
#include "runtime/plugin.nsp/plugin_loader.h"

namespace svc {

namespace {

using TLibraryEntry = int(void* module, unsigned long reason, void* reserved);
constexpr unsigned long kProcessAttach = 1;

using files::TDescriptor;

// Whoever owns the program that runs could have put anything in its place: so runs a build of
// somebody's own under sudo.
bool OwnsThisProgram(uid_t user) {
  struct stat status;
  return stat("/proc/self/exe", &status) == 0 && status.st_uid == user;
}

bool IsTrusted(uid_t user) {
  if (user == 0 || files::HasMoreRightsThanItsUser()) return user == 0;
  return user == geteuid() || OwnsThisProgram(user);
}

// Refuses what others than the trusted can change on the way to the plug-in.
class TReachRules : public files::IWayRules {
 public:
  // Who can write to a folder can put another in the place of what is below it, unless the folder
  // keeps everybody to their own entries (inode(7), the sticky bit), as /tmp does.
  void Enter(const TDescriptor& folder, const struct stat& status,
             const std::string& path) override {
    CheckOwner(status, path);
    if ((status.st_mode & S_ISVTX) == 0) CheckWriters(folder, status, path);
  }

  // The folder that it lies in was entered before.
  bool Follows(const TDescriptor& /*link*/, const struct stat& status, const std::string& path,
               bool /*isLast*/) override {
    CheckOwner(status, path);
    return true;
  }

  void CheckEnd(const files::TPlace& place) const {
    if (!place.entry && place.name != ".") throw FileError(ENOENT);
    if (!S_ISREG(place.status.st_mode)) throw TError("it is no regular file");
    CheckOwner(place.status, place.Path());
    CheckWriters(place.entry, place.status, place.Path());
    struct stat folder;
    if (fstat(place.folder.Get(), &folder) != 0) throw FileError(errno);
    CheckWriters(place.folder, folder, place.folderPath);
  }

 private:
  void CheckOwner(const struct stat& status, const std::string& path) const {
    if (IsTrusted(status.st_uid)) return;
    throw TError("\"" + path + "\" belongs to another user than root or you");
  }

  void CheckWriters(const TDescriptor& file, const struct stat& status,
                    const std::string& path) const {
    if (!files::OthersMayWrite(file, status, IsTrusted)) return;
    throw TError("others may write to \"" + path + "\"; take that right away with: chmod go-w '" +
                 boost::replace_all_copy(path, "'", "'\\''") + "'");
  }
};

}  // namespace

bool IsAbsolutePath(const std::string& path) { return path.starts_with('/'); }

// The library is named by the descriptor of its folder, which nobody else can write to: so it is
// the one that was looked at, whatever became of the path, and what it needs is found from $ORIGIN.
TModule OpenLibrary(const std::string& path) {
  TReachRules rules;
  files::TPlace place = files::Walk(path, rules);
  rules.CheckEnd(place);
  const std::string name = place.folder.Path() + "/" + place.name;
  TModule library = Retold(
      [&name] { return TModule(name); },
      [&](const TError& error) {
        return TError(boost::replace_all_copy(std::string(error.what()), name, place.Path()));
      });
  // The dynamic linker takes an equal name for the same library: another folder must not get the
  // number of this one.
  place.folder.Release();
  return library;
}

std::string RunEntry(const TModule& library) {
  const auto entry = library.Find<TLibraryEntry*>("LibraryEntry");
  if (entry == nullptr) return "it has no entry \"LibraryEntry\", so it is no plug-in";
  try {
    return entry(library.Handle(), kProcessAttach, nullptr) != 0 ? ""
                                                                 : "its entry refused to start";
  } catch (const std::exception& error) {
    return std::string("its entry failed: ") + error.what();
  } catch (...) {
    return "its entry failed with an exception of an unknown kind";
  }
}

}  // namespace svc
