#include "runtime/acquire/folder_lock.h"

#include "runtime/acquire/lock_file.h"

namespace svc::acquire {
namespace {

constexpr std::chrono::milliseconds kPause{50};

void Await(int descriptor, const std::string& path, std::chrono::milliseconds limit,
           const TWatch& watch) {
  const auto end = watch.Now() + limit;
  while (!TryLock(descriptor, path)) {
    watch.Check();
    if (watch.Now() > end)
      throw TFailure(EOutcome::kLocked, "another download into the same folder still holds " +
                                            path + "; wait for it to end, or end it");
    watch.Sleep(kPause);
  }
}

}  // namespace

TFolderLock::TFolderLock(const std::string& path, std::chrono::milliseconds limit,
                         const TWatch& watch)
    : descriptor(OpenLockFile(path)) {
  try {
    Await(descriptor, path, limit, watch);
  } catch (...) {
    CloseLockFile(descriptor);
    throw;
  }
}

TFolderLock::~TFolderLock() { CloseLockFile(descriptor); }

}  // namespace svc::acquire
