// The query, from the host's call to the last record: read RunQuery first.
#include "plugins/version_checker/query/query.h"

#include <utility>

#include "host/hskcore/os_specific.h"
#include "host/hskcore/schema_helper.h"
#include "plugins/version_checker/catalogue/catalogue_loader.h"
#include "plugins/version_checker/drivers/driver_record.h"
#include "plugins/version_checker/inventory/properties.h"
#include "plugins/version_checker/inventory/results.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;
namespace rules = svc::rules;

namespace {

// Runs some of a query's steps; false when they ended it. A failure that no step handles ends it
// too: the records delivered before stay.
template <typename TSteps>
bool RunGuarded(const TSteps& steps) {
  try {
    return steps();
  } catch (const THSKException& exception) {
    LogError(exception.GetMessageText());
    return false;
  }
}

}  // namespace

void TSVPluginCallbacks::RunQuery(TNamespaceHandle inventory, void* /*reserved*/,
                                  CIMContext& context) {
  LogTrace("In RunQuery");
  context[TCIMSchemaHelper::kContextName] = TCIMValue(TCIMSchemaHelper::kPluginNSPName);
  TQuery query(*this, std::move(inventory), context);
  if (!RunGuarded([&] { return query.IdentifyMachine(); })) return;
  query.TakeCataloguePath();
  RunGuarded([&] {
    if (!query.LoadDefinitions()) return false;
    if (!query.LoadCatalogue()) return false;
    if (!query.CollectUpdateElements()) return false;
    if (!query.SelectApplicableElements()) return false;
    query.CompareFirmware();
    query.CompareDrivers();
    return true;
  });
}

TQuery::TQuery(IPluginCallbacks& plugin, TNamespaceHandle inventory, const CIMContext& context)
    : plugin(plugin), inventory(std::move(inventory)), context(context) {}

bool TQuery::IdentifyMachine() {
  try {
    machineType = TCIMSchemaHelper::GetMachineType(inventory);
  } catch (const THSKException&) {
    LogError(rules::kNoMachineType);
    return false;
  }
  osType = TSVPluginCallbacks::getOSType(inventory);
  return true;
}

void TQuery::TakeCataloguePath() {
  const auto entry = context.find(rules::kCatalogueEntry);
  if (entry == context.end()) {
    constexpr const char* kMessage = "SV: 'svPath' not passed via context";
    LogError(kMessage);
    throw THSKException(kMessage, THSKStatusCode::kMissingContextEntry);
  }
  rawCataloguePath = static_cast<std::string>(entry->second);
}

bool TQuery::IsLive() const { return rawCataloguePath == rules::kLive; }

bool TQuery::LoadDefinitions() {
  try {
    catalogue = CreateCatalogueNamespace(plugin);
  } catch (const THSKException& exception) {
    LogError(rules::kNoDefinitions);
    LogError(exception.GetMessageText());
    return false;
  }
  return true;
}

bool TQuery::LoadCatalogue() {
  if (!IsLive()) return LoadIndex();
  liveAcquisition = std::make_unique<TLiveAcquisition>(plugin, context, machineType, catalogue);
  return liveAcquisition->Run(osType);
}

bool TQuery::LoadIndex() {
  LogTrace("In -u mode.");
  try {
    TSVPluginCallbacks::LoadCatalogueFile(
        rawCataloguePath + TOSSpecific::kFileSeparator + rules::kIndexFile, catalogue);
  } catch (const THSKException& exception) {
    ReportIndexFailure(exception);
    return false;
  }
  return true;
}

bool TQuery::CollectUpdateElements() {
  boost::shared_ptr<ICIMClass> elementClass;
  if (!FindClass(elementClass, catalogue, rules::kUpdateClass, CIMContext())) return false;
  AppendInstances(updateElements, elementClass, CIMContext());
  return !updateElements.empty();
}

bool TQuery::SelectApplicableElements() {
  applicableElements =
      TSVPluginCallbacks::MatchMachineInstances(machineType, std::move(updateElements));
  // A folder is somebody's choice for this machine; only a download is filtered by system.
  if (IsLive()) {
    applicableElements =
        TSVPluginCallbacks::MatchOSInstances(osType, std::move(applicableElements));
  }
  if (!applicableElements.empty()) return true;
  LogWarning(rules::kNothingApplicable);
  return false;
}

void TQuery::CompareFirmware() {
  TSVPluginCallbacks::CompareFirmware(inventory, applicableElements, machineType);
}

void TQuery::CompareDrivers() {
  TDriverFiles offered;
  try {
    TSVPluginCallbacks::CollectCatalogueDrivers(offered, applicableElements, osType);
  } catch (const THSKException& exception) {
    if (exception.GetStatusCode() == THSKStatusCode::kClassNotFound) {
      LogWarning("No driver updates found, This system may not be supported by SV");
      return;
    }
    // What was collected before the failure is compared all the same.
  }
  TDriverList installed;
  TSVPluginCallbacks::CollectInstalledDrivers(installed, inventory);
  TSVPluginCallbacks::CompareDrivers(offered, installed, inventory);
}
