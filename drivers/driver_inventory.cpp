// The drivers that are installed.
#include <utility>

#include "drivers/driver_record.h"
#include "inventory/class_lookup.h"
#include "inventory/trace.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;
namespace rules = svc::rules;

std::string FileNameOfPath(std::string_view pathText) {
  // Without a backslash the sum wraps to 0, the start of the text.
  return std::string(pathText.substr(pathText.rfind('\\') + 1));
}

void TSVPluginCallbacks::SetRunningState(DriverRecord& record, const std::string& stateText) {
  LogTrace(rules::kStateFollows);
  LogTrace(stateText);
  record.running = stateText == "4";  // SERVICE_RUNNING of the service control manager.
}

void TSVPluginCallbacks::CollectInstalledDrivers(TDriverList& list,
                                                 const TNamespaceHandle& inventory) {
  boost::shared_ptr<ICIMClass> driverClass;
  if (!FindClass(driverClass, inventory, rules::kDriverClass, PluginContext())) return;
  if (!driverClass) return;
  TInstanceList instances;
  AppendInstances(instances, driverClass, CIMContext());
  list.reserve(list.size() + instances.size());
  std::string text;
  for (const TInstanceHandle& instance : instances) {
    DriverRecord record;
    GetPropertyValue(instance, rules::kDriverPath, record.path);
    GetPropertyValue(instance, rules::kDriverVersion, record.version);
    record.fileName = FileNameOfPath(GetPropertyValue(instance, rules::kDriverPath, text));
    SetRunningState(record, GetPropertyValue(instance, rules::kDriverState, text));
    list.push_back(std::move(record));
  }
}
