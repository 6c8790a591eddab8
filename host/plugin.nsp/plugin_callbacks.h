// What a query plug-in offers to the host.
#ifndef HOST_PLUGIN_NSP_PLUGIN_CALLBACKS_H_
#define HOST_PLUGIN_NSP_PLUGIN_CALLBACKS_H_

#include <boost/shared_ptr.hpp>
#include <string>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace NQRXHSK20 {

// Identity and lifetime of a plug-in. The order of the operations is the order of their slots.
// Called on the host's threads, one call at a time.
class HOST_INTERFACE IPluginCallbacks {
 public:
  virtual ~IPluginCallbacks() = default;
  // The generation of this interface that the plug-in was written for: 1.
  virtual int GetInterfaceVersion() = 0;
  virtual std::string GetName() = 0;
  virtual std::string GetVersion() = 0;
  virtual std::string GetBuildVersion() = 0;
  // The host gives the object up; the plug-in deletes it.
  virtual void Release() = 0;
  virtual void OnHostStarted() = 0;
  virtual void OnHostStopping() = 0;
};

// A plug-in that answers a query of its own.
class HOST_INTERFACE IPluginAdvancedQueryCallbacks {
 public:
  virtual ~IPluginAdvancedQueryCallbacks() = default;
  // Runs one query on the calling thread and stores its results in `inventory`, which the plug-in
  // holds until it returns. `reserved` belongs to the host. The context is read and written.
  virtual void RunQuery(boost::shared_ptr<ICIMNamespace> inventory, void* reserved,
                        CIMContext& context) = 0;
  // The text query language that the plug-in understands, empty for none.
  virtual std::string GetQueryLanguage() = 0;
};

}  // namespace NQRXHSK20

#endif  // HOST_PLUGIN_NSP_PLUGIN_CALLBACKS_H_
