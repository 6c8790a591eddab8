#include <windows.h>

#include "plugins/public_firmware/public_firmware.h"

// Called by the system's loader, under its lock: an exception becomes a refusal here.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID /*reserved*/) {
  try {
    return svc::publicfirmware::ProcessAttach(reason);
  } catch (...) {
    return FALSE;
  }
}
