#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "runtime/acquire/lock_file.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {

int OpenLockFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (descriptor < 0)
    throw TFailure(EOutcome::kFolderUnwritable,
                   path + " cannot be opened: " + std::strerror(errno));
  return descriptor;
}

bool TryLock(int descriptor, const std::string& path) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return true;
  if (errno == EWOULDBLOCK || errno == EINTR) return false;
  throw TFailure(EOutcome::kFolderUnwritable, path + " cannot be locked: " + std::strerror(errno));
}

void CloseLockFile(int descriptor) noexcept { close(descriptor); }

}  // namespace svc::acquire
