// A file that stands for a lock, as each system knows it.
#ifndef RUNTIME_ACQUIRE_LOCK_FILE_H_
#define RUNTIME_ACQUIRE_LOCK_FILE_H_

#include <string>

namespace svc::acquire {

// Opens the file, made when it is missing. The caller closes it. Throws TFailure
// (kFolderUnwritable).
int OpenLockFile(const std::string& path);

// False while another process holds the lock. Throws TFailure (kFolderUnwritable).
bool TryLock(int descriptor, const std::string& path);

// Gives the lock back as well.
void CloseLockFile(int descriptor) noexcept;

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_LOCK_FILE_H_
