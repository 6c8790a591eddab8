// What the file of a kernel module states, by libkmod. One reader is used by one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/path_walk.h"

struct kmod_ctx;

namespace svc::collect {

using files::TDescriptor;

// What a module says of itself, the first of each; empty where it says nothing.
struct TModuleStatement {
  // Where it states none and belongs to its kernel (modinfo's "intree"), that kernel's release.
  std::string version;
  // The checksum of what it was built of (modinfo's "srcversion"), the same in every build of it.
  std::string source;
};

// libkmod believes some of what a module's header says, and ends the process where it lies. So it
// is shown plain modules alone, unpacked if need be, and none before its header is checked. What it
// is shown is a copy in memory: a file that is cut while it is mapped ends the process as well.
class TModuleReader {
 public:
  TModuleReader();

  // What the module in an open file states, compressed or not. Throws TError, which says why, where
  // it is no module that can be read.
  TModuleStatement StatementIn(const TDescriptor& file) const;

 private:
  struct TFree {
    void operator()(kmod_ctx* context) const;
  };
  std::unique_ptr<kmod_ctx, TFree> context;
};

// A file of these bytes in memory. Throws TError where there is no room for it.
TDescriptor FileInMemory(std::string_view bytes);

}  // namespace svc::collect
