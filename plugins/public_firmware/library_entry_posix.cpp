#include "plugins/public_firmware/public_firmware.h"

// Called by the host's loader right after the library is in memory.
extern "C" __attribute__((visibility("default"))) int LibraryEntry(void* /*module*/,
                                                                   unsigned long reason,
                                                                   void* /*reserved*/) {
  return svc::publicfirmware::ProcessAttach(reason);
}
