// Reading the inventory's firmware classes.
#include "plugins/version_checker/contents/sv_plugin.h"
#include "plugins/version_checker/inventory/class_lookup.h"
#include "plugins/version_checker/inventory/trace.h"

using namespace NQRXHSK20;

std::string TSVPluginCallbacks::getStringPropertyFromContainer(TNamespaceHandle inventory,
                                                               std::string_view className,
                                                               std::string_view property) {
  LogTrace("In getStringPropertyFromContainer");
  const CIMContext& context = PluginContext();
  boost::shared_ptr<ICIMClass> cimClass;
  if (!FindClass(cimClass, inventory, className, context)) return "";
  TInstanceList instances;
  AppendInstances(instances, cimClass, context);
  std::string value;
  // The last instance wins, also with an empty value after one that was not.
  for (const TInstanceHandle& instance : instances) GetPropertyValue(instance, property, value);
  return value;
}

int TSVPluginCallbacks::getVersionItemFromContainer(TNamespaceHandle inventory,
                                                    std::string_view className,
                                                    TInstanceList& instances) {
  LogTrace("In getVersionItemFromContainer");
  instances.clear();
  const CIMContext& context = PluginContext();
  boost::shared_ptr<ICIMClass> cimClass;
  if (!FindClass(cimClass, inventory, className, context)) return 0;
  try {
    LogTrace("after getting class name in container");
    AppendInstances(instances, cimClass, context);
    LogTrace("after getting instances in container");
  } catch (...) {
    // Whatever a provider throws while it lists adapters: those it has listed still count.
    LogTrace("catch exception");
  }
  return 0;
}
