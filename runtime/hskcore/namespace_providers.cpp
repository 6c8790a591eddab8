#include "runtime/hskcore/namespace_providers.h"

#include <boost/make_shared.hpp>
#include <map>
#include <mutex>
#include <string>

#include "host/hskcore/exception.h"
#include "runtime/hskcore/in_memory_namespace.h"

namespace svc {

using NQRXHSK20::CIMContext;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::INamespaceProvider;
using NQRXHSK20::INamespaceProviderManager;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;

namespace {

class TInMemoryProvider final : public INamespaceProvider {
 public:
  std::string GetName() const override { return "inmem"; }

  boost::shared_ptr<ICIMNamespace> CreateNamespace(const CIMContext&, int flags,
                                                   const std::string& name) override {
    if (flags != 0) {
      throw THSKException("Namespace \"" + name + "\": the flags " + std::to_string(flags) +
                              " are not known, pass 0",
                          THSKStatusCode::kFailed);
    }
    return MakeInMemoryNamespace();
  }
};

class TProviderManager final : public INamespaceProviderManager {
 public:
  void RegisterProvider(const boost::shared_ptr<INamespaceProvider>& provider) override {
    const std::string name = provider->GetName();
    const std::lock_guard lock(mutex);
    providers[name] = provider;
  }

  boost::shared_ptr<INamespaceProvider> GetProvider(const std::string& name) override {
    const std::lock_guard lock(mutex);
    const auto found = providers.find(name);
    return found == providers.end() ? nullptr : found->second;
  }

 private:
  std::mutex mutex;
  std::map<std::string, boost::shared_ptr<INamespaceProvider>> providers;
};

}  // namespace

boost::shared_ptr<INamespaceProviderManager> MakeNamespaceProviderManager() {
  auto manager = boost::make_shared<TProviderManager>();
  manager->RegisterProvider(boost::make_shared<TInMemoryProvider>());
  return manager;
}

}  // namespace svc
