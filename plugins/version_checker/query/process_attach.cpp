#include "plugins/version_checker/query/process_attach.h"

#include <new>

#include "plugins/version_checker/contents/sv_plugin.h"

int ProcessAttach(unsigned long reason) {
  if (reason != kReasonProcessAttach) return 1;
  return new (std::nothrow) TSVPluginCallbacks != nullptr ? 1 : 0;
}
