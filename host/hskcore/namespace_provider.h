// Where new namespaces come from.
#ifndef HOST_HSKCORE_NAMESPACE_PROVIDER_H_
#define HOST_HSKCORE_NAMESPACE_PROVIDER_H_

#include <boost/shared_ptr.hpp>
#include <string>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace NQRXHSK20 {

// Makes namespaces of one kind. May be called from any thread.
class HOST_INTERFACE INamespaceProvider {
 public:
  virtual ~INamespaceProvider() = default;
  virtual std::string GetName() const = 0;
  // A new, empty namespace, owned by its holders. `flags` is reserved: THSKException unless it is
  // 0.
  virtual boost::shared_ptr<ICIMNamespace> CreateNamespace(const CIMContext& context, int flags,
                                                           const std::string& name) = 0;
};

// Finds providers by name. May be called from any thread.
class HOST_INTERFACE INamespaceProviderManager {
 public:
  virtual ~INamespaceProviderManager() = default;
  // Replaces a provider of the same name.
  virtual void RegisterProvider(const boost::shared_ptr<INamespaceProvider>& provider) = 0;
  // Empty when no provider has that name. The in-memory provider is "inmem".
  virtual boost::shared_ptr<INamespaceProvider> GetProvider(const std::string& name) = 0;
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_NAMESPACE_PROVIDER_H_
