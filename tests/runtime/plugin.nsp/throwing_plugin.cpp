#include "host/hskcore/exception.h"

extern "C" HOST_EXPORT int LibraryEntry(void*, unsigned long, void*) {
  throw NQRXHSK20::THSKException("no room for a plug-in", NQRXHSK20::THSKStatusCode::kFailed);
}
