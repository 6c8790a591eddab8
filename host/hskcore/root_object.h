// The way from a plug-in to the host's process-wide objects.
#ifndef HOST_HSKCORE_ROOT_OBJECT_H_
#define HOST_HSKCORE_ROOT_OBJECT_H_

#include <boost/shared_ptr.hpp>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/logger.h"
#include "host/hskcore/namespace_provider.h"

namespace NQRXHSK20 {

// May be called from any thread.
class HSKCORE_API TRootObject {
 public:
  // The process-wide logger, owned by the host; valid until the host ends.
  static ILogger& GetCoreLogger();
  // The plug-in manager, in fact a TPluginManagerNamespace; empty when the host has none.
  static boost::shared_ptr<ICIMNamespace> GetPluginManager();
  // Never empty.
  static boost::shared_ptr<INamespaceProviderManager> GetNamespaceProviderManager();
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_ROOT_OBJECT_H_
