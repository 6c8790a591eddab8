#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/locking.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "runtime/acquire/lock_file.h"
#include "runtime/acquire/native_text_windows.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {

int OpenLockFile(const std::string& path) {
  int descriptor = -1;
  if (_wsopen_s(&descriptor, Widen(path).c_str(), _O_RDWR | _O_CREAT | _O_BINARY | _O_NOINHERIT,
                _SH_DENYNO, _S_IREAD | _S_IWRITE) != 0)
    throw TFailure(EOutcome::kFolderUnwritable,
                   path + " cannot be opened: " + SystemText(_doserrno));
  return descriptor;
}

// One byte stands for the whole file, which may be empty.
bool TryLock(int descriptor, const std::string& path) {
  if (_locking(descriptor, _LK_NBLCK, 1) == 0) return true;
  if (errno == EACCES || errno == EDEADLK) return false;
  throw TFailure(EOutcome::kFolderUnwritable, path + " cannot be locked: " + SystemText(_doserrno));
}

void CloseLockFile(int descriptor) noexcept { _close(descriptor); }

}  // namespace svc::acquire
