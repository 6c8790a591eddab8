// A handle of the system's, closed by its holder. Empty is null, never INVALID_HANDLE_VALUE.
#ifndef SVCHECK_FLEET_HANDLE_WINDOWS_H_
#define SVCHECK_FLEET_HANDLE_WINDOWS_H_

#include <windows.h>

#include <memory>

namespace svc::fleet {

struct TCloseHandle {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using THandle = std::unique_ptr<HANDLE, TCloseHandle>;

inline THandle Held(HANDLE handle) {
  return THandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_HANDLE_WINDOWS_H_
