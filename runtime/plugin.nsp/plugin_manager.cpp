#include "host/plugin.nsp/plugin_manager.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "base/module.h"
#include "host/hskcore/exception.h"
#include "runtime/plugin.nsp/plugin_loader.h"

namespace NQRXHSK20 {

IPluginAdvancedQueryCallbacks* TPluginManagerProvider::GetQueryInterface() const {
  return dynamic_cast<IPluginAdvancedQueryCallbacks*>(plugin);
}

struct TPluginManagerNamespace::State {
  mutable std::mutex mutex;
  std::vector<std::unique_ptr<TPluginManagerProvider>> providers;
};

TPluginManagerNamespace::TPluginManagerNamespace() : state(std::make_unique<State>()) {}

// The last one registered goes first. One that was registered more than once goes once. Takes no
// memory, of which there may be none left.
TPluginManagerNamespace::~TPluginManagerNamespace() {
  const auto& providers = state->providers;
  for (auto provider = providers.rbegin(); provider != providers.rend(); ++provider) {
    IPluginCallbacks* plugin = (*provider)->GetPlugin();
    const bool isReleased = std::any_of(providers.rbegin(), provider, [plugin](const auto& other) {
      return other->GetPlugin() == plugin;
    });
    if (!isReleased) {
      plugin->Release();
    }
  }
}

TPluginManagerProvider* TPluginManagerNamespace::RegisterPlugin(IPluginCallbacks* plugin) {
  if (plugin == nullptr) {
    throw THSKException("A null pointer cannot be registered as a plug-in",
                        THSKStatusCode::kFailed);
  }
  const std::lock_guard lock(state->mutex);
  return state->providers.emplace_back(std::make_unique<TPluginManagerProvider>(plugin)).get();
}

// Asks the plug-ins for their names outside the lock: they may call the manager.
TPluginManagerProvider* TPluginManagerNamespace::SearchForPluginByName(std::string name) {
  const std::vector<TPluginManagerProvider*> providers = GetPlugins();
  for (auto provider = providers.rbegin(); provider != providers.rend(); ++provider) {
    if ((*provider)->GetPlugin()->GetName() == name) {
      return *provider;
    }
  }
  return nullptr;
}

std::vector<TPluginManagerProvider*> TPluginManagerNamespace::GetPlugins() const {
  const std::lock_guard lock(state->mutex);
  std::vector<TPluginManagerProvider*> providers;
  for (const auto& provider : state->providers) {
    providers.push_back(provider.get());
  }
  return providers;
}

void TPluginManagerNamespace::GetClass(boost::shared_ptr<ICIMClass>&, std::string_view name,
                                       const CIMContext&) {
  throw THSKException("The plug-in manager has no class \"" + std::string(name) + "\"",
                      THSKStatusCode::kClassNotFound);
}

}  // namespace NQRXHSK20

namespace svc {

using NQRXHSK20::TPluginManagerNamespace;
using NQRXHSK20::TPluginManagerProvider;

static TModule Open(const std::string& path) {
  return Retold([&path] { return OpenLibrary(path); },
                [&path](const TError& error) {
                  return TError("The plug-in \"" + path + "\" cannot be loaded: " + error.what());
                });
}

TPluginManagerProvider* LoadPlugin(const std::string& path, TPluginManagerNamespace& manager) {
  if (!IsAbsolutePath(path))
    throw TError("The plug-in \"" + path + "\" is not named by an absolute path");
  const std::size_t before = manager.GetPlugins().size();
  TModule library = Open(path);
  // Until it is certain that nothing of it is registered, also where there is no memory to ask.
  library.Keep();
  std::string failure = RunEntry(library);
  const std::vector<TPluginManagerProvider*> plugins = manager.GetPlugins();
  if (plugins.size() == before) {
    library.Keep(false);
    if (failure.empty()) failure = "it registered no plug-in";
  }
  if (!failure.empty()) throw TError("The plug-in \"" + path + "\" cannot be used: " + failure);
  return plugins.back();
}

}  // namespace svc
