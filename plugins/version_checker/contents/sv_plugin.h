// The plug-in object: what the host sees of it, then the query, then the query's operations by the
// folder that defines them. Read this as the table of contents of the five plug-in folders.
//
// One object per load of the library, owned by the host. The query and its operations run on the
// thread on which the host calls RunQuery; no state outlives a query.
#ifndef PLUGINS_VERSION_CHECKER_CONTENTS_SV_PLUGIN_H_
#define PLUGINS_VERSION_CHECKER_CONTENTS_SV_PLUGIN_H_

#include <boost/shared_ptr.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/shared_text.h"
#include "host/plugin.nsp/plugin_callbacks.h"

namespace NQRXHSK20 {
class TPluginManagerProvider;
}

using TInstanceHandle = boost::shared_ptr<NQRXHSK20::ICIMInstance>;
using TInstanceList = std::vector<TInstanceHandle>;
using TClassList = std::vector<boost::shared_ptr<NQRXHSK20::ICIMClass>>;
using TNamespaceHandle = boost::shared_ptr<NQRXHSK20::ICIMNamespace>;

struct DriverRecord;
using TDriverList = std::vector<DriverRecord>;  // In the order in which they were found.
// The "driverFiles" texts of update elements, in their order; none is empty.
using TDriverFiles = std::vector<NQRXHSK20::TSharedText>;

class TSVPluginCallbacks : public NQRXHSK20::IPluginCallbacks,
                           public NQRXHSK20::IPluginAdvancedQueryCallbacks {
 public:
  // Registers the object with the host's plug-in manager.
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
  // Throws THSKException (kMissingContextEntry) when the context lacks "svPath"; every other
  // outcome is told by records, log and standard output.
  void RunQuery(TNamespaceHandle inventory, void* reserved,
                NQRXHSK20::CIMContext& context) override;

  // --- catalogue/ ---
  // The folder that holds the "sv" folder: the process's current directory.
  static std::string GetPluginDirectory(NQRXHSK20::IPluginCallbacks& plugin);
  // Loads one catalogue file of the 4.02 dialect; returns the classes that it declared.
  // Throws THSKException.
  static TClassList LoadCatalogueFile(const std::string& path, TNamespaceHandle catalogue);

  // --- inventory/ ---
  // Fill `output` with a property, or a value, as text and return it: null and missing read as
  // "", an array as its elements, each followed by one blank.
  static std::string& GetPropertyValue(TInstanceHandle instance, std::string_view property,
                                       std::string& output);
  static std::string& GetValue(const NQRXHSK20::TCIMValue& value, std::string& output);
  // The code of the machine's operating system, such as "RHEL5_64"; "" when it is none that
  // catalogues know. Throws THSKException when "OSType" cannot be read.
  static std::string getOSType(const TNamespaceHandle& inventory);
  // Whether the property's text contains `needle`, both folded to lower case (ASCII only).
  static bool PropertyContains(TInstanceHandle instance, std::string_view property,
                               std::string needle);
  static TInstanceList MatchMachineInstances(const std::string& machineType,
                                             TInstanceList instances);
  static TInstanceList MatchOSInstances(const std::string& osType, TInstanceList instances);
  // Stores one QRXSG_SVResult record in `results`.
  static void DeliverInstance(TNamespaceHandle results, std::string type, std::string name,
                              NQRXHSK20::TSharedText installedVersion,
                              NQRXHSK20::TSharedText catalogueVersion);

  // --- firmware/ ---
  // Pairs installed and offered firmware; delivers a record for each pair into `inventory`.
  static void CompareFirmware(TNamespaceHandle inventory, TInstanceList updateElements,
                              std::string machineType);
  // A property of the class's last instance as text; "" without class or instances.
  static std::string getStringPropertyFromContainer(TNamespaceHandle inventory,
                                                    std::string_view className,
                                                    std::string_view property);
  // Refills the list with the class's instances. Always 0.
  static int getVersionItemFromContainer(TNamespaceHandle inventory, std::string_view className,
                                         TInstanceList& instances);

  // --- drivers/ ---
  // Appends what the elements for `osType` offer.
  static void CollectCatalogueDrivers(TDriverFiles& lists, const TInstanceList& updateElements,
                                      const std::string& osType);
  static bool AppliesToOS(std::string_view systems, std::string_view osType);
  static void CollectInstalledDrivers(TDriverList& list, const TNamespaceHandle& inventory);
  static void SetRunningState(DriverRecord& record, const std::string& stateText);
  // Delivers a record for each pair of an offered and a running installed driver of one name.
  static void CompareDrivers(const TDriverFiles& offered, const TDriverList& installed,
                             const TNamespaceHandle& results);

 private:
  NQRXHSK20::TPluginManagerProvider* provider;  // The host's; valid as long as this object.
};

#endif  // PLUGINS_VERSION_CHECKER_CONTENTS_SV_PLUGIN_H_
