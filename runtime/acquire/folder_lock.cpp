#include "runtime/acquire/folder_lock.h"

#include <thread>

#include "runtime/acquire/lock_file.h"

namespace svc::acquire {
namespace {

constexpr std::chrono::milliseconds kPause{50};

void Await(int descriptor, const std::string& path, std::chrono::milliseconds limit,
           const TWatch& watch) {
  const auto end = TWatch::TClock::now() + limit;
  while (!TryLock(descriptor, path)) {
    watch.Check();
    if (TWatch::TClock::now() > end)
      throw TFailure(EOutcome::kLocked, "another download into the same folder still holds " +
                                            path + "; wait for it to end, or end it");
    std::this_thread::sleep_for(kPause);
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
