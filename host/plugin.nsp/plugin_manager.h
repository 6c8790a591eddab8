// The host's list of plug-ins.
#ifndef HOST_PLUGIN_NSP_PLUGIN_MANAGER_H_
#define HOST_PLUGIN_NSP_PLUGIN_MANAGER_H_

#include <boost/shared_ptr.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/plugin.nsp/plugin_callbacks.h"

namespace NQRXHSK20 {

// One registered plug-in. Owned by the manager, valid as long as it.
class PLUGIN_NSP_API TPluginManagerProvider {
 public:
  explicit TPluginManagerProvider(IPluginCallbacks* plugin) : plugin(plugin) {}
  // Owned by the host since its registration.
  IPluginCallbacks* GetPlugin() const noexcept { return plugin; }
  // Null when the plug-in answers no queries.
  IPluginAdvancedQueryCallbacks* GetQueryInterface() const;

 private:
  IPluginCallbacks* plugin;
};

// The namespace in which plug-ins register. Every operation may be called from any thread.
class PLUGIN_NSP_API TPluginManagerNamespace : public ICIMNamespace {
 public:
  TPluginManagerNamespace();
  // Releases every plug-in that is still registered.
  ~TPluginManagerNamespace() override;
  TPluginManagerNamespace(const TPluginManagerNamespace&) = delete;
  TPluginManagerNamespace& operator=(const TPluginManagerNamespace&) = delete;

  // Records the plug-in and becomes its owner. A plug-in may be registered more than once.
  TPluginManagerProvider* RegisterPlugin(IPluginCallbacks* plugin);
  // The plug-in of that display name that was registered last; null when there is none.
  TPluginManagerProvider* SearchForPluginByName(std::string name);
  // In order of registration.
  std::vector<TPluginManagerProvider*> GetPlugins() const;

  // Holds no classes: throws THSKException (kClassNotFound) always.
  void GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view name,
                const CIMContext& context) override;

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace NQRXHSK20

#endif  // HOST_PLUGIN_NSP_PLUGIN_MANAGER_H_
