// The drivers that are installed.
#include <utility>

#include "plugins/version_checker/contents/sv_plugin.h"
#include "plugins/version_checker/drivers/driver_record.h"
#include "plugins/version_checker/inventory/properties.h"
#include "plugins/version_checker/inventory/results.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;
namespace rules = svc::rules;
std::string_view FileNameOfPath(std::string_view pathText) {
  // Without a backslash the sum wraps to 0, the start of the text.
  return pathText.substr(pathText.rfind('\\') + 1);
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
  TPropertyReader paths;
  TPropertyReader versions;
  TKnownTexts<std::string_view> names;
  std::string text;
  for (const TInstanceHandle& instance : instances) {
    DriverRecord record;
    record.path = paths.Read(instance, rules::kDriverPath);
    record.version = versions.Read(instance, rules::kDriverVersion);
    const TSharedText path = paths.Read(instance, rules::kDriverPath);
    record.fileName = path.Part(names.Get(path, [&] { return FileNameOfPath(path); }));
    SetRunningState(record, GetPropertyValue(instance, rules::kDriverState, text));
    list.push_back(std::move(record));
  }
}

// The drivers that the catalogue offers.

using NQRXHSK20::TSharedText;

bool TSVPluginCallbacks::AppliesToOS(std::string_view systems, std::string_view osType) {
  return systems.find(osType) != std::string_view::npos;
}

void TSVPluginCallbacks::CollectCatalogueDrivers(TDriverFiles& lists,
                                                 const TInstanceList& updateElements,
                                                 const std::string& osType) {
  TPropertyReader systems;
  TPropertyReader driverFiles;
  TKnownTexts<bool> known;
  for (const TInstanceHandle& element : updateElements) {
    const TSharedText text = systems.Read(element, svc::rules::kUpdateSystems);
    if (!known.Get(text, [&] { return AppliesToOS(text, osType); })) continue;
    TSharedText files = driverFiles.Read(element, svc::rules::kUpdateDriverFiles);
    if (!files.empty()) lists.push_back(std::move(files));
  }
}
