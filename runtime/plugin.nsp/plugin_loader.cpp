#include "runtime/plugin.nsp/plugin_loader.h"

#include <vector>

#include "base/module.h"

namespace svc {

using NQRXHSK20::TPluginManagerNamespace;
using NQRXHSK20::TPluginManagerProvider;

namespace {

TModule Open(const std::string& path) {
  try {
    return OpenLibrary(path);
  } catch (const TError& error) {
    throw TError("The plug-in \"" + path + "\" cannot be loaded: " + error.what());
  }
}

}  // namespace

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
