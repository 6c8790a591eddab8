// The working state of one query.
#ifndef PLUGINS_VERSION_CHECKER_QUERY_QUERY_H_
#define PLUGINS_VERSION_CHECKER_QUERY_QUERY_H_

#include <memory>
#include <string>

#include "plugins/version_checker/catalogue/live_acquisition.h"
#include "plugins/version_checker/contents/sv_plugin.h"

// Lives for one call of RunQuery, on its thread. Its steps are called in the order in which they
// stand here; one that returns false has ended the query and said why.
class TQuery {
 public:
  TQuery(NQRXHSK20::IPluginCallbacks& plugin, TNamespaceHandle inventory,
         const NQRXHSK20::CIMContext& context);

  bool IdentifyMachine();
  // Throws THSKException (kMissingContextEntry) when the context does not say where it is.
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

  NQRXHSK20::IPluginCallbacks& plugin;
  TNamespaceHandle inventory;
  const NQRXHSK20::CIMContext& context;
  std::string machineType;
  std::string osType;  // In live mode the family of operating systems, once it is downloaded.
  std::string rawCataloguePath;
  TNamespaceHandle catalogue;
  std::unique_ptr<TLiveAcquisition> liveAcquisition;
  TInstanceList updateElements;
  TInstanceList applicableElements;
};

#endif  // PLUGINS_VERSION_CHECKER_QUERY_QUERY_H_
