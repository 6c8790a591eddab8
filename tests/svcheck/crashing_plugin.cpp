// A plug-in that ends its process for machines whose system BIOS has a certain version, runs out of
// memory for those with another one, never comes to an end for those with a third one, and has
// nothing to say of all others.
#include <boost/pointer_cast.hpp>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/root_object.h"
#include "host/plugin.nsp/plugin_callbacks.h"
#include "host/plugin.nsp/plugin_manager.h"

namespace {

using namespace NQRXHSK20;

// Goes on as if nothing had been, as a plug-in may.
void RunOutOfMemory() {
  try {
    ::operator delete(::operator new(std::numeric_limits<std::ptrdiff_t>::max()));
  } catch (const std::bad_alloc&) {
  }
}

class TCrashingPlugin : public IPluginCallbacks, public IPluginAdvancedQueryCallbacks {
 public:
  int GetInterfaceVersion() override { return 1; }
  std::string GetName() override { return "Crashing"; }
  std::string GetVersion() override { return "1.0"; }
  std::string GetBuildVersion() override { return "1.0"; }
  void Release() override { delete this; }
  void OnHostStarted() override {}
  void OnHostStopping() override {}

  void RunQuery(boost::shared_ptr<ICIMNamespace> inventory, void*, CIMContext&) override {
    boost::shared_ptr<ICIMClass> firmware;
    inventory->GetClass(firmware, "QRXSG_SystemBIOSElement", {});
    std::vector<boost::shared_ptr<ICIMInstance>> instances;
    firmware->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, {});
    for (const auto& instance : instances) {
      boost::shared_ptr<ICIMProperty> version;
      instance->GetProperty(version, "Version", {});
      const std::string text = version->Value({}).ToString(10);
      if (text == "YUE110B") std::abort();
      if (text == "YUE113A") RunOutOfMemory();
      while (text == "YUE114A") std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    TRootObject::GetCoreLogger().Log(kLogProgress, "No firmware update found for LSI firmware.");
  }
  std::string GetQueryLanguage() override { return ""; }
};

}  // namespace

extern "C" HOST_EXPORT int LibraryEntry(void*, unsigned long reason, void*) {
  if (reason == 1) {
    boost::static_pointer_cast<TPluginManagerNamespace>(TRootObject::GetPluginManager())
        ->RegisterPlugin(new TCrashingPlugin);
  }
  return 1;
}
