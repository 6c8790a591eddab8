// A path gone through folder by folder, each opened from the one before. What was looked at on the
// way is what is used at its end: nobody can put another folder or link in between. POSIX. One
// thread.
#ifndef BASE_PATH_WALK_H_
#define BASE_PATH_WALK_H_

#include <sys/stat.h>

#include <string>

#include "base/descriptor.h"

namespace svc::files {

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

// A relative path begins in the current folder. Throws TFileError where a folder on the way cannot
// be gone through.
TPlace Walk(const std::string& path, IWayRules& rules);

// Begins in the folder `root`, which stands for "/": neither a link nor ".." leads out of it.
TPlace WalkBelow(int root, const std::string& path, IWayRules& rules);

}  // namespace svc::files

#endif  // BASE_PATH_WALK_H_
