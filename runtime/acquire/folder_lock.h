// One download at a time for one folder, over all processes of the machine.
#ifndef RUNTIME_ACQUIRE_FOLDER_LOCK_H_
#define RUNTIME_ACQUIRE_FOLDER_LOCK_H_

#include <chrono>
#include <string>

#include "runtime/acquire/watch.h"

namespace svc::acquire {

// Holds the lock of a file for as long as it lives; the system gives it back when the process
// ends in any way. The file itself stays. One thread.
class TFolderLock {
 public:
  // Waits for whoever holds it. Throws TFailure (kLocked, kFolderUnwritable, those of the watch).
  TFolderLock(const std::string& path, std::chrono::milliseconds limit, const TWatch& watch);
  ~TFolderLock();
  TFolderLock(const TFolderLock&) = delete;
  TFolderLock& operator=(const TFolderLock&) = delete;

 private:
  int descriptor;
};

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_FOLDER_LOCK_H_
