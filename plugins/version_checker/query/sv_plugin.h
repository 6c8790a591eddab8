// The plug-in object, and what the library does when a process loads it.
//
// The operations of a query are declared by the folders that define them; here they come together
// under the object's name. The headers of those folders and this one are the plug-in's table of
// contents.
#pragma once

#include <string>

#include "host/plugin.nsp/plugin_callbacks.h"
#include "plugins/version_checker/catalogue/catalogue_loader.h"
#include "plugins/version_checker/drivers/driver_operations.h"
#include "plugins/version_checker/firmware/firmware_operations.h"
#include "plugins/version_checker/inventory/inventory_operations.h"

namespace NQRXHSK20 {
class TPluginManagerProvider;
}

namespace svc::checker {

// Made by each process attach, owned by the host from then on. The host calls it on its threads,
// one call at a time; a query runs on the thread of RunQuery, and no state outlives it.
//
// Hosts reach the object by its two tables, the identity's first, and rely on its size: the classes
// of operations are empty and stand last.
class TSVPluginCallbacks : public NQRXHSK20::IPluginCallbacks,
                           public NQRXHSK20::IPluginAdvancedQueryCallbacks,
                           public TCatalogueOperations,
                           public TInventoryOperations,
                           public TFirmwareOperations,
                           public TDriverOperations {
 public:
  // Registers the object with the host's plug-in manager. What the host throws passes.
  TSVPluginCallbacks();
  ~TSVPluginCallbacks() override = default;
  TSVPluginCallbacks(const TSVPluginCallbacks&) = delete;
  TSVPluginCallbacks& operator=(const TSVPluginCallbacks&) = delete;

  // --- Identity ---
  int GetInterfaceVersion() override;
  std::string GetName() override;
  std::string GetVersion() override;
  std::string GetBuildVersion() override;
  void Release() override;
  void OnHostStarted() override;
  void OnHostStopping() override;
  std::string GetQueryLanguage() override;

  // --- The query ---
  // Throws THSKException (kMissingContextEntry) when the context lacks "svPath". No other failure
  // that the host tells of leaves it: records, log and standard output say how the query ended.
  // What is no THSKException passes to the host, such as a failed assertion.
  void RunQuery(TNamespaceHandle inventory, void* reserved,
                NQRXHSK20::CIMContext& context) override;

 private:
  NQRXHSK20::TPluginManagerProvider* provider;  // The host's; valid as long as this object.
};
static_assert(sizeof(TSVPluginCallbacks) == 3 * sizeof(void*), "two tables and the provider");

inline constexpr unsigned long kReasonProcessAttach = 1;

// Creates the plug-in object, which registers itself and is the host's from then on.
// 1 when all is well, also for any other reason than process attach; 0 when there is no memory.
// Exceptions of the host pass to the caller. Runs under the loader's lock.
// Deliberate: see "Every attach makes an object" in docs/one-query.md.
int ProcessAttach(unsigned long reason);

}  // namespace svc::checker
