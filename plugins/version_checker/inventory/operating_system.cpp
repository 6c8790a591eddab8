// Which of the operating systems that catalogues know runs on the machine.
#include <cstdint>
#include <string>

#include "plugins/version_checker/contents/sv_plugin.h"
#include "plugins/version_checker/inventory/class_lookup.h"
#include "plugins/version_checker/inventory/trace.h"
#include "rules/names.h"
#include "rules/system_codes.h"

using namespace NQRXHSK20;
namespace rules = svc::rules;

namespace {

void ReadInstance(const TInstanceHandle& instance, rules::TOperatingSystem& system) {
  TSVPluginCallbacks::GetPropertyValue(instance, rules::kSystemVersion, system.version);
  boost::shared_ptr<ICIMProperty> property;
  instance->GetProperty(property, rules::kSystemType, CIMContext());
  system.type = static_cast<std::uint16_t>(property->Value(CIMContext()));
  TSVPluginCallbacks::GetPropertyValue(instance, rules::kSystemBuild, system.buildID);
  TSVPluginCallbacks::GetPropertyValue(instance, rules::kSystemPlatform, system.hardwarePlatform);
}

}  // namespace

std::string TSVPluginCallbacks::getOSType(const TNamespaceHandle& inventory) {
  LogTrace("In getOSType");
  boost::shared_ptr<ICIMClass> systemClass;
  if (!FindClass(systemClass, inventory, rules::kSystemClass, PluginContext())) return "";
  TInstanceList instances;
  AppendInstances(instances, systemClass, CIMContext());
  rules::TOperatingSystem system;
  for (const TInstanceHandle& instance : instances) ReadInstance(instance, system);
  return rules::CodeOf(system);
}
