#include "svcheck/session/catalogue_watch.h"

#include <string>
#include <utility>

#include "host/hskcore/namespace_provider.h"
#include "host/hskcore/root_object.h"
#include "rules/names.h"
#include "svcheck/session/query_run.h"

using namespace NQRXHSK20;

namespace svc {

class TWatchingProvider : public INamespaceProvider {
 public:
  TWatchingProvider(boost::shared_ptr<INamespaceProvider> watched, IReadObserver* observer,
                    THiddenInstancesHandle hidden)
      : watched(std::move(watched)), observer(observer), hidden(std::move(hidden)) {}

  std::string GetName() const override { return watched->GetName(); }
  boost::shared_ptr<ICIMNamespace> CreateNamespace(const CIMContext& context, int flags,
                                                   const std::string& name) override {
    last = watched->CreateNamespace(context, flags, name);
    if (observer != nullptr) SetReadObserver(last, observer);
    if (hidden) HideInstances(last, hidden);
    return last;
  }

  boost::shared_ptr<INamespaceProvider> watched;
  boost::shared_ptr<ICIMNamespace> last;
  IReadObserver* observer;  // Not owned.
  THiddenInstancesHandle hidden;
};

TCatalogueWatch::TCatalogueWatch(IReadObserver* observer, const THiddenInstancesHandle& hidden) {
  const auto manager = TRootObject::GetNamespaceProviderManager();
  provider = boost::shared_ptr<TWatchingProvider>(
      new TWatchingProvider(manager->GetProvider("inmem"), observer, hidden));
  manager->RegisterProvider(provider);
}

TCatalogueWatch::~TCatalogueWatch() {
  TRootObject::GetNamespaceProviderManager()->RegisterProvider(provider->watched);
}

const boost::shared_ptr<ICIMNamespace>& TCatalogueWatch::Catalogue() const {
  return provider->last;
}

std::optional<std::uint64_t> TCatalogueWatch::CountElements() const {
  if (!provider->last) return {};
  return InstancesOf(provider->last, rules::kUpdateClass).size();
}

}  // namespace svc
