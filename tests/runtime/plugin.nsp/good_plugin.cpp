#include <boost/pointer_cast.hpp>

#include "host/hskcore/root_object.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "tests/runtime/plugin.nsp/library_plugin.h"

extern "C" HOST_EXPORT int LibraryEntry(void*, unsigned long reason, void*) {
  const auto manager = boost::static_pointer_cast<NQRXHSK20::TPluginManagerNamespace>(
      NQRXHSK20::TRootObject::GetPluginManager());
  if (reason == 1) {
    manager->RegisterPlugin(new svc::testing::TQueryPlugin("Good"));
  }
  return 1;
}
