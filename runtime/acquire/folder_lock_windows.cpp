#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/locking.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

#include "runtime/acquire/folder_lock.h"
#include "runtime/acquire/native_text_windows.h"

namespace svc::acquire {
namespace {

constexpr std::chrono::milliseconds kPause{50};

// One byte stands for the whole file, which may be empty.
bool TryLock(int descriptor, const std::string& path) {
  if (_locking(descriptor, _LK_NBLCK, 1) == 0) return true;
  if (errno == EACCES || errno == EDEADLK) return false;
  throw TFailure(EOutcome::kFolderUnwritable, path + " cannot be locked: " + SystemText(_doserrno));
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
    : descriptor(-1) {
  if (_wsopen_s(&descriptor, Widen(path).c_str(), _O_RDWR | _O_CREAT | _O_BINARY | _O_NOINHERIT,
                _SH_DENYNO, _S_IREAD | _S_IWRITE) != 0)
    throw TFailure(EOutcome::kFolderUnwritable,
                   path + " cannot be opened: " + SystemText(_doserrno));
  try {
    Await(descriptor, path, limit, watch);
  } catch (...) {
    _close(descriptor);
    throw;
  }
}

TFolderLock::~TFolderLock() { _close(descriptor); }

}  // namespace svc::acquire
