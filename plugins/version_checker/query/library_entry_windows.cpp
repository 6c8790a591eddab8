#include <windows.h>

#include "plugins/version_checker/query/sv_plugin.h"

// Called by the system's loader, under its lock. Loaders end an exception here by refusing the
// library, but not all of them do it cleanly: this does the same without their help.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID /*reserved*/) {
  try {
    return svc::checker::ProcessAttach(reason);
  } catch (...) {
    return FALSE;
  }
}
