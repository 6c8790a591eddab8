#include "host/hskcore/os_specific.h"

#include <mutex>

#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/os_platform.h"

namespace svc {

namespace {

// What the program set; never destroyed, since paths are mapped until the process ends.
struct TDriveRoot {
  std::mutex mutex;
  std::string folder;
};

TDriveRoot& SetRoot() {
  static TDriveRoot& root = *new TDriveRoot;
  return root;
}

}  // namespace

void SetDriveRoot(const std::string& folder) {
  const std::lock_guard lock(SetRoot().mutex);
  SetRoot().folder = folder;
}

std::string DriveRoot() {
  const std::lock_guard lock(SetRoot().mutex);
  return SetRoot().folder.empty() ? DefaultDriveRoot() : SetRoot().folder;
}

}  // namespace svc
