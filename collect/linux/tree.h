// A system tree: the files below one root, the live system's or a captured one's.
#ifndef COLLECT_LINUX_TREE_H_
#define COLLECT_LINUX_TREE_H_

#include <set>
#include <string>
#include <vector>

#include "base/path_walk.h"
#include "collect/cim_xml.h"

namespace svc::collect {

using files::TDescriptor;

// What reading a file gave: its bytes, or the errno value that says why there are none.
struct TRead {
  std::string bytes;
  int error = 0;

  explicit operator bool() const { return error == 0; }
};

// Reads files by their absolute paths in the tree. A symbolic link never leads out of the tree: an
// absolute one starts at the root again. Remembers what was read. Not safe for use from several
// threads at once.
class TTree {
 public:
  // Throws TError when `root` is no folder that can be opened.
  explicit TTree(const std::string& root);

  // Whether this is the running system, whose devices can be asked as well.
  bool IsLive() const { return live; }

  // A file or a folder; a captured tree may hold anything under their names, and a pipe there must
  // not block. A failure leaves errno set. Remembers no path.
  TDescriptor Open(const std::string& path, int flags) const;
  // At most 64 MiB; a larger file fails with EFBIG.
  TRead Read(const std::string& path) const;
  // The first line, cleaned; empty when there is none or the file cannot be read.
  std::string ReadLine(const std::string& path) const;
  // The names in a folder in their byte order, without "." and ".."; empty when it cannot be read.
  std::vector<std::string> List(const std::string& path) const;

  // Counts `path` among the files read; for those that a library reads on its own.
  void Remember(const std::string& path) const { readFiles.insert(path); }
  // The files that could be read so far.
  const std::set<std::string>& ReadFiles() const { return readFiles; }

 private:
  int OpenBelow(const std::string& path, int flags) const;

  TDescriptor root;
  bool live;
  mutable std::set<std::string> readFiles;
};

}  // namespace svc::collect

#endif  // COLLECT_LINUX_TREE_H_
