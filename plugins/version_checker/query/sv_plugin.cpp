// Identity and lifetime of the plug-in object.
#include "plugins/version_checker/query/sv_plugin.h"

#include <boost/pointer_cast.hpp>
#include <new>

#include "host/hskcore/root_object.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "rules/names.h"

using namespace NQRXHSK20;

namespace svc::checker {

TSVPluginCallbacks::TSVPluginCallbacks() {
  const auto manager =
      boost::static_pointer_cast<TPluginManagerNamespace>(TRootObject::GetPluginManager());
  provider = manager->RegisterPlugin(this);
}

int TSVPluginCallbacks::GetInterfaceVersion() { return 1; }
std::string TSVPluginCallbacks::GetName() { return rules::kPluginName; }
std::string TSVPluginCallbacks::GetVersion() { return "1.0"; }
std::string TSVPluginCallbacks::GetBuildVersion() { return "1.0"; }
std::string TSVPluginCallbacks::GetQueryLanguage() { return ""; }

// Built with -fno-delete-null-pointer-checks, so that the check which `delete` makes stays.
// Deliberate: see "A release without an object" in docs/one-query.md.
void TSVPluginCallbacks::Release() { delete this; }

void TSVPluginCallbacks::OnHostStarted() {}
void TSVPluginCallbacks::OnHostStopping() {}

int ProcessAttach(unsigned long reason) {
  if (reason != kReasonProcessAttach) return 1;
  return new (std::nothrow) TSVPluginCallbacks != nullptr ? 1 : 0;
}

}  // namespace svc::checker
