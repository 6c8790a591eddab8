// The drivers that the catalogue offers.
#include <utility>

#include "plugins/version_checker/contents/sv_plugin.h"
#include "plugins/version_checker/drivers/driver_record.h"
#include "plugins/version_checker/inventory/property_reader.h"
#include "rules/names.h"

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
