// A plug-in that does nothing but be there.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <utility>

#include "host/hskcore/export.h"
#include "host/plugin.nsp/plugin_callbacks.h"

namespace svc::testing {

class TLibraryPlugin : public NQRXHSK20::IPluginCallbacks {
 public:
  explicit TLibraryPlugin(std::string name, int* releases = nullptr)
      : name(std::move(name)), releases(releases) {}
  int GetInterfaceVersion() override { return 1; }
  std::string GetName() override { return name; }
  std::string GetVersion() override { return "1.0"; }
  std::string GetBuildVersion() override { return "1.0"; }
  void Release() override {
    if (releases != nullptr) {
      ++*releases;
    }
    delete this;
  }
  void OnHostStarted() override {}
  void OnHostStopping() override {}

 private:
  std::string name;
  int* releases;
};

class TQueryPlugin : public TLibraryPlugin, public NQRXHSK20::IPluginAdvancedQueryCallbacks {
 public:
  using TLibraryPlugin::TLibraryPlugin;
  void RunQuery(boost::shared_ptr<NQRXHSK20::ICIMNamespace>, void*,
                NQRXHSK20::CIMContext&) override {}
  std::string GetQueryLanguage() override { return ""; }
};

}  // namespace svc::testing
