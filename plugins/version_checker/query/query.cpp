// The plug-in object: its identity and lifetime, and the query, from the host's call to the last
// record. Read RunQuery first.
#include <boost/pointer_cast.hpp>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "host/hskcore/os_specific.h"
#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "plugins/version_checker/catalogue/live_acquisition.h"
#include "plugins/version_checker/inventory/inventory_operations.h"
#include "plugins/version_checker/inventory/properties.h"
#include "plugins/version_checker/query/sv_plugin.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;

namespace svc::checker {

namespace {

// The working state of one query: lives for one call of RunQuery, on its thread. Its steps are
// called in the order in which they stand here; one that returns false has ended the query and said
// why. THSKException leaves a step that has no rule for it.
class TQuery {
 public:
  TQuery(IPluginCallbacks& plugin, TNamespaceHandle inventory, const CIMContext& context);

  bool IdentifyMachine();
  // Throws THSKException (kMissingContextEntry) when the context does not say where it is.
  void RequireCataloguePath() const;
  void TakeCataloguePath();
  bool LoadDefinitions();
  bool LoadCatalogue();
  bool CollectUpdateElements();
  bool SelectApplicableElements();
  void CompareFirmware();
  void CompareDrivers();

 private:
  bool IsLive() const;
  bool LoadIndex();

  IPluginCallbacks& plugin;
  TNamespaceHandle inventory;
  const CIMContext& context;
  std::string machineType;
  std::string osType;  // In live mode the family of operating systems, once it is downloaded.
  std::string rawCataloguePath;
  TNamespaceHandle catalogue;
  std::unique_ptr<TLiveAcquisition> liveAcquisition;
  TInstanceList updateElements;
  TInstanceList applicableElements;
};

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
  // Deliberate: see "Two guards around the query" in docs/one-query.md.
  if (!RunGuarded([&] { return query.IdentifyMachine(); })) return;
  query.RequireCataloguePath();
  RunGuarded([&] {
    query.TakeCataloguePath();
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

void TQuery::RequireCataloguePath() const {
  if (context.contains(rules::kCatalogueEntry)) return;
  constexpr const char* kMessage = "SV: 'svPath' not passed via context";
  LogError(kMessage);
  throw THSKException(kMessage, THSKStatusCode::kMissingContextEntry);
}

void TQuery::TakeCataloguePath() {
  rawCataloguePath = static_cast<std::string>(context.at(rules::kCatalogueEntry));
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
    // Deliberate: see "A driver list cut short is compared" in docs/one-query.md.
  }
  TDriverList installed;
  TSVPluginCallbacks::CollectInstalledDrivers(installed, inventory);
  TSVPluginCallbacks::CompareDrivers(offered, installed, inventory);
}

// --- Identity and lifetime ---

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
