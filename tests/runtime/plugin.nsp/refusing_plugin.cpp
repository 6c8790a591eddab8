#include "host/hskcore/export.h"

extern "C" HOST_EXPORT int LibraryEntry(void*, unsigned long, void*) { return 0; }
