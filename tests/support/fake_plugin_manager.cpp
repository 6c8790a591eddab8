// The plug-in manager's library, replaced at link time: notes its calls in the current host.
#include "tests/support/fake_host.h"

using svc::test::TFakeHost;

namespace NQRXHSK20 {

struct TPluginManagerNamespace::State {
  std::vector<std::unique_ptr<TPluginManagerProvider>> providers;
};

IPluginAdvancedQueryCallbacks* TPluginManagerProvider::GetQueryInterface() const {
  return dynamic_cast<IPluginAdvancedQueryCallbacks*>(plugin);
}

TPluginManagerNamespace::TPluginManagerNamespace() : state(std::make_unique<State>()) {}

TPluginManagerNamespace::~TPluginManagerNamespace() {
  for (const auto& provider : state->providers) provider->GetPlugin()->Release();
}

TPluginManagerProvider* TPluginManagerNamespace::RegisterPlugin(IPluginCallbacks* plugin) {
  TFakeHost::Current().script.Enter("RegisterPlugin");
  state->providers.push_back(std::make_unique<TPluginManagerProvider>(plugin));
  return state->providers.back().get();
}

TPluginManagerProvider* TPluginManagerNamespace::SearchForPluginByName(std::string name) {
  TFakeHost::Current().script.Enter("SearchForPluginByName " + name);
  return nullptr;
}

std::vector<TPluginManagerProvider*> TPluginManagerNamespace::GetPlugins() const {
  std::vector<TPluginManagerProvider*> plugins;
  for (const auto& provider : state->providers) plugins.push_back(provider.get());
  return plugins;
}

void TPluginManagerNamespace::GetClass(boost::shared_ptr<ICIMClass>&, std::string_view name,
                                       const CIMContext&) {
  throw THSKException("no class " + std::string(name), THSKStatusCode::kClassNotFound);
}

}  // namespace NQRXHSK20
