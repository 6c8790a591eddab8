// Open files and folders of a POSIX system, the way to them, and who may write to them.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <utility>

#include "base/files.h"

namespace svc::files {

// An open file or folder, closed with its holder. One thread.
class TDescriptor {
 public:
  explicit TDescriptor(int number = -1) : number(number) {}
  TDescriptor(TDescriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  TDescriptor& operator=(TDescriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  ~TDescriptor();

  int Get() const { return number; }
  explicit operator bool() const { return number >= 0; }
  // Who calls closes it.
  int Release() { return std::exchange(number, -1); }
  // The name under which others in this process can open the same file.
  std::string Path() const;

 private:
  int number;
};

// --- The way to a path ---
//
// It is gone through folder by folder, each opened from the one before. What was looked at on the
// way is what is used at its end: nobody can put another folder or link in between. One thread.

// The path of a name in a folder.
std::string Below(const std::string& folder, const std::string& name);

// Where a path leads.
struct TPlace {
  TDescriptor folder;      // For going on from (O_PATH).
  std::string folderPath;  // Without links, for messages.
  std::string name;        // In the folder; "." is the folder itself.
  TDescriptor entry;       // What lies there (O_PATH); none where nothing does, or for ".".
  struct stat status {};   // Of the entry.

  std::string Path() const;
};

// What is met on the way, with its path for messages. An operation that throws ends the walk.
class IWayRules {
 public:
  virtual ~IWayRules() = default;
  // A folder that the way leads through or ends in.
  virtual void Enter(const TDescriptor& /*folder*/, const struct stat& /*status*/,
                     const std::string& /*path*/) {}
  // Whether a link is followed. One that is not ends the walk as its place where it is the path's
  // last name; otherwise the walk fails.
  virtual bool Follows(const TDescriptor& /*link*/, const struct stat& /*status*/,
                       const std::string& /*path*/, bool /*isLast*/) {
    return true;
  }
};

// A relative path begins in the current folder. Throws TError (kFile) where a folder on the way
// cannot be gone through.
TPlace Walk(const std::string& path, IWayRules& rules);

// The same from the folder `root`, a descriptor of the caller's, which stands for "/": neither a
// link nor ".." leads out of it.
TPlace WalkBelow(int root, const std::string& path, IWayRules& rules);

// --- Where a file that is written goes, by the rules of base/files.h. One thread ---

// What is done with a link that the path ends in, where it is one that is followed.
enum class ELastLink { kFollowed, kKept };

// Throws TError (kFile). A place that is a link is one to be replaced, but for those of /proc that
// lead to a pipe or a device: these have no other name, and are opened through the link.
TPlace FindPlace(const std::string& path, ELastLink last = ELastLink::kFollowed);

ENamed KindOf(const TPlace& place);

// --- Who else may write to a file or a folder. Any thread ---

// Says whether a user's rights are no gain to anybody: of root, for one.
using TIsTrusted = bool(uid_t user);

// Whether its mode or its access list lets anybody write who is not the owner and not trusted. A
// group of its owner's own number is the owner's private one; that of root is a group like others,
// which people may have been put into. `status` is that of the descriptor, which may be O_PATH.
bool OthersMayWrite(const TDescriptor& file, const struct stat& status, TIsTrusted* isTrusted);

// Whether the process may do what its user may not, by capabilities or by the program's mode: then
// even a file of that user is in the hands of somebody with fewer rights.
bool HasMoreRightsThanItsUser();

}  // namespace svc::files
