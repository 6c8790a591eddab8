#include "plugin/process_attach.h"

#include <new>

#include "plugin/contents/sv_plugin.h"

int ProcessAttach(unsigned long reason) {
  if (reason != kReasonProcessAttach) return 1;
  return new (std::nothrow) TSVPluginCallbacks != nullptr ? 1 : 0;
}
