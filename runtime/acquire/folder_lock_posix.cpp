#include "runtime/acquire/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace svc::acquire {
namespace {

constexpr std::chrono::milliseconds kPause{50};

bool TryLock(int descriptor, const std::string& path) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return true;
  if (errno == EWOULDBLOCK || errno == EINTR) return false;
  throw TFailure(EOutcome::kFolderUnwritable, path + " cannot be locked: " + std::strerror(errno));
}

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
    : descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644)) {
  if (descriptor < 0)
    throw TFailure(EOutcome::kFolderUnwritable,
                   path + " cannot be opened: " + std::strerror(errno));
  try {
    Await(descriptor, path, limit, watch);
  } catch (...) {
    close(descriptor);
    throw;
  }
}

TFolderLock::~TFolderLock() { close(descriptor); }

}  // namespace svc::acquire
