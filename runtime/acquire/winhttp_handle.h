// Owners of what WinHTTP hands out.
#ifndef RUNTIME_ACQUIRE_WINHTTP_HANDLE_H_
#define RUNTIME_ACQUIRE_WINHTTP_HANDLE_H_

#include <windows.h>
#include <winhttp.h>

#include <memory>

namespace svc::acquire {

struct TCloseInternet {
  void operator()(HINTERNET handle) const { WinHttpCloseHandle(handle); }
};
using TInternet = std::unique_ptr<void, TCloseInternet>;

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_WINHTTP_HANDLE_H_
