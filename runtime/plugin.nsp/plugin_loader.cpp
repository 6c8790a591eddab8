#include "runtime/plugin.nsp/plugin_loader.h"

#include <vector>

#include "base/error.h"
#include "runtime/plugin.nsp/library.h"

namespace svc {

using NQRXHSK20::TPluginManagerNamespace;
using NQRXHSK20::TPluginManagerProvider;

TPluginManagerProvider* LoadPlugin(const std::string& path, TPluginManagerNamespace& manager) {
  if (!IsAbsolutePath(path)) {
    throw TError("The plug-in \"" + path + "\" is not named by an absolute path");
  }
  const std::size_t before = manager.GetPlugins().size();
  const TLibrary library = OpenLibrary(path);
  std::string failure = RunEntry(library);
  const std::vector<TPluginManagerProvider*> plugins = manager.GetPlugins();
  if (failure.empty() && plugins.size() == before) {
    failure = "it registered no plug-in";
  }
  if (plugins.size() == before) {
    CloseLibrary(library);
  }
  if (!failure.empty()) {
    throw TError("The plug-in \"" + path + "\" cannot be used: " + failure);
  }
  return plugins.back();
}

}  // namespace svc
