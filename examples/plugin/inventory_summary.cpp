// A small query plug-in: one record for each installed driver, which says whether it runs. Shows
// all that a plug-in needs: an entry, a registration, reading the inventory, delivering records.
#include <boost/pointer_cast.hpp>
#include <boost/shared_ptr.hpp>
#include <exception>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/root_object.h"
#include "host/plugin.nsp/plugin_callbacks.h"
#include "host/plugin.nsp/plugin_manager.h"

using namespace NQRXHSK20;

namespace {

// Null and missing read as the empty text.
std::string TextOf(const boost::shared_ptr<ICIMInstance>& instance, const char* name) {
  const CIMContext none;
  boost::shared_ptr<ICIMProperty> property;
  try {
    instance->GetProperty(property, name, none);
  } catch (const THSKException&) {
    return {};
  }
  return static_cast<std::string>(property->Value(none));
}

class TInventorySummary : public IPluginCallbacks, public IPluginAdvancedQueryCallbacks {
 public:
  // From its registration on the host owns the object.
  TInventorySummary() {
    boost::static_pointer_cast<TPluginManagerNamespace>(TRootObject::GetPluginManager())
        ->RegisterPlugin(this);
  }

  int GetInterfaceVersion() override { return 1; }
  std::string GetName() override { return "Inventory summary"; }
  std::string GetVersion() override { return "1.0"; }
  std::string GetBuildVersion() override { return "1.0"; }
  void Release() override { delete this; }
  void OnHostStarted() override {}
  void OnHostStopping() override {}
  std::string GetQueryLanguage() override { return {}; }

  void RunQuery(boost::shared_ptr<ICIMNamespace> inventory, void* /*reserved*/,
                CIMContext& /*context*/) override {
    constexpr const char* kRunning = "4";
    const CIMContext none;
    boost::shared_ptr<ICIMClass> drivers;
    inventory->GetClass(drivers, "QRXSG_DeviceDriverInfo", none);
    std::vector<boost::shared_ptr<ICIMInstance>> instances;
    drivers->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, none);
    for (const auto& driver : instances) {
      const bool runs = TextOf(driver, "CurrentState") == kRunning;
      Deliver(inventory, driver, runs ? "Running driver" : "Stopped driver");
    }
    TRootObject::GetCoreLogger().Log(kLogProgress,
                                     "Looked at " + std::to_string(instances.size()) + " drivers");
  }

 private:
  static void Deliver(const boost::shared_ptr<ICIMNamespace>& inventory,
                      const boost::shared_ptr<ICIMInstance>& driver, const char* type) {
    const CIMContext none;
    boost::shared_ptr<ICIMClass> results;
    inventory->GetClass(results, "QRXSG_SVResult", none);
    boost::shared_ptr<ICIMInstance> record;
    results->CreateInstance(record, none);
    record->SetPropertyValue("Type", TCIMValue(type), none);
    record->SetPropertyValue("Name", TCIMValue(TextOf(driver, "Name")), none);
    record->SetPropertyValue("InstalledVersion", TCIMValue(TextOf(driver, "Version")), none);
    record->SetPropertyValue("SVVersion", TCIMValue(""), none);
    record->Commit(none);
  }
};

}  // namespace

// Called by the host's loader right after the library is in memory; 1 is the reason "attach".
extern "C" __attribute__((visibility("default"))) int LibraryEntry(void* /*module*/,
                                                                   unsigned long reason,
                                                                   void* /*reserved*/) {
  constexpr unsigned long kAttach = 1;
  if (reason == kAttach) new TInventorySummary;
  return 1;
}
