#include <windows.h>

#include "plugin/process_attach.h"

// Called by the system's loader, under its lock.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID /*reserved*/) {
  return ProcessAttach(reason);
}
