// What the host has once for a process, and the way from a plug-in to it: the log, the providers of
// namespaces, the list of plug-ins, and what is to be known of the host's own schema.
#ifndef HOST_HSKCORE_ROOT_OBJECT_H_
#define HOST_HSKCORE_ROOT_OBJECT_H_

#include <boost/shared_ptr.hpp>
#include <string>
#include <string_view>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace NQRXHSK20 {

// --- The log ---

inline constexpr int kLogError = 0;
inline constexpr int kLogWarning = 1;
inline constexpr int kLogProgress = 3;
inline constexpr int kLogTrace = 4;

// The process-wide log. Every operation may be called from any thread. Owned by the host.
class HOST_INTERFACE ILogger {
 public:
  virtual ~ILogger() = default;
  // Writes one entry. The text is copied before the call returns.
  virtual void Log(int level, std::string_view message) = 0;
  // Whether an entry of this level would be kept: asked before a text is composed for it.
  virtual bool IsLogged(int level) const noexcept = 0;
};

// --- Where new namespaces come from ---

// Makes namespaces of one kind. May be called from any thread.
class HOST_INTERFACE INamespaceProvider {
 public:
  virtual ~INamespaceProvider() = default;
  virtual std::string GetName() const = 0;
  // A new, empty namespace, owned by its holders. `flags` is reserved and must be 0.
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

// --- The host's own schema ---

// Pure functions; the inventory belongs to the caller. Any thread.
class HSKCORE_API TCIMSchemaHelper {
 public:
  // The context entry that says on whose behalf a call is made, and its value for plug-ins.
  static const char* const kContextName;
  static const char* const kPluginNSPName;

  // The first non-empty "MachineType" of class "QRXSG_ComputerSystem".
  // Throws THSKException when there is none.
  static std::string GetMachineType(const boost::shared_ptr<ICIMNamespace>& inventory);
};

// --- The way to them ---

// May be called from any thread.
class HSKCORE_API TRootObject {
 public:
  // The process-wide logger, owned by the host; valid until the host ends.
  static ILogger& GetCoreLogger();
  // The plug-in manager, in fact a TPluginManagerNamespace; empty when the host has none.
  static boost::shared_ptr<ICIMNamespace> GetPluginManager();
  static boost::shared_ptr<INamespaceProviderManager> GetNamespaceProviderManager();
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_ROOT_OBJECT_H_
