#include "svcheck/catalogue_watch.h"

#include <string>
#include <utility>

#include "host/hskcore/namespace_provider.h"
#include "host/hskcore/root_object.h"
#include "svcheck/query_run.h"

using namespace NQRXHSK20;

namespace svc {

class TWatchingProvider : public INamespaceProvider {
 public:
  explicit TWatchingProvider(boost::shared_ptr<INamespaceProvider> watched)
      : watched(std::move(watched)) {}

  std::string GetName() const override { return watched->GetName(); }
  boost::shared_ptr<ICIMNamespace> CreateNamespace(const CIMContext& context, int flags,
                                                   const std::string& name) override {
    last = watched->CreateNamespace(context, flags, name);
    return last;
  }

  boost::shared_ptr<INamespaceProvider> watched;
  boost::shared_ptr<ICIMNamespace> last;
};

TCatalogueWatch::TCatalogueWatch() {
  const auto manager = TRootObject::GetNamespaceProviderManager();
  provider =
      boost::shared_ptr<TWatchingProvider>(new TWatchingProvider(manager->GetProvider("inmem")));
  manager->RegisterProvider(provider);
}

TCatalogueWatch::~TCatalogueWatch() {
  TRootObject::GetNamespaceProviderManager()->RegisterProvider(provider->watched);
}

std::optional<std::uint64_t> TCatalogueWatch::CountElements() const {
  if (!provider->last) return {};
  return InstancesOf(provider->last, kElementClass).size();
}

}  // namespace svc
