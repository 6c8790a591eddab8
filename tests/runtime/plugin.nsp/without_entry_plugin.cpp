#include "host/hskcore/export.h"

extern "C" HOST_EXPORT int SomethingElse() { return 1; }
