#include <atomic>
#include <boost/assert.hpp>
#include <boost/make_shared.hpp>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "host/hskcore/exception.h"
#include "host/hskcore/export.h"
#include "host/hskcore/root_object.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/logging.h"

namespace NQRXHSK20 {

namespace {

// The process's objects. Never destroyed: a thread or a destructor that runs while the process
// ends may still ask for them.
struct THostObjects {
  std::mutex mutex;
  boost::shared_ptr<ILogger> logger;
  boost::shared_ptr<ICIMNamespace> pluginManager;
  boost::shared_ptr<INamespaceProviderManager> providers = svc::MakeNamespaceProviderManager();
};

THostObjects& HostObjects() {
  static THostObjects& objects = *new THostObjects;
  return objects;
}

// Beside the handle, since it is read for every line that is logged.
constinit std::atomic<ILogger*> coreLogger{nullptr};

template <typename T>
boost::shared_ptr<T> Copy(boost::shared_ptr<T>& handle) {
  const std::lock_guard lock(HostObjects().mutex);
  return handle;
}

// What was there goes with the argument, after the lock: its destructor may ask for others.
template <typename T>
void Replace(boost::shared_ptr<T>& handle, boost::shared_ptr<T> replacement) {
  const std::lock_guard lock(HostObjects().mutex);
  handle.swap(replacement);
}

}  // namespace

ILogger& TRootObject::GetCoreLogger() {
  ILogger* logger = coreLogger.load(std::memory_order_acquire);
  return logger != nullptr ? *logger : svc::NullLogger();
}

boost::shared_ptr<ICIMNamespace> TRootObject::GetPluginManager() {
  return Copy(HostObjects().pluginManager);
}

boost::shared_ptr<INamespaceProviderManager> TRootObject::GetNamespaceProviderManager() {
  return Copy(HostObjects().providers);
}

}  // namespace NQRXHSK20

namespace svc {

using NQRXHSK20::HostObjects;
using NQRXHSK20::Replace;

void InstallLogger(const boost::shared_ptr<NQRXHSK20::ILogger>& logger) {
  NQRXHSK20::coreLogger.store(logger.get(), std::memory_order_release);
  Replace(HostObjects().logger, logger);
}

void InstallPluginManager(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& manager) {
  Replace(HostObjects().pluginManager, manager);
}

void InstallNamespaceProviderManager(
    const boost::shared_ptr<NQRXHSK20::INamespaceProviderManager>& manager) {
  Replace(HostObjects().providers, manager ? manager : MakeNamespaceProviderManager());
}

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

namespace boost {

// Where a precondition that does not hold ends: boost calls these instead of ending the process
// (boost/assert.hpp, BOOST_ENABLE_ASSERT_HANDLER).

namespace {

std::string_view FileName(std::string_view path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

[[noreturn]] void Fail(std::string message, const char* file, long line) {
  message.append(" (").append(FileName(file)).append(":").append(std::to_string(line)).append(")");
  NQRXHSK20::TRootObject::GetCoreLogger().Log(NQRXHSK20::kLogError, message);
  throw NQRXHSK20::TAssertionFailed(message);
}

}  // namespace

HSKCORE_API void assertion_failed(char const* expression, char const*, char const* file,
                                  long line) {
  Fail(std::string("Assertion \"") + expression + "\" failed", file, line);
}

HSKCORE_API void assertion_failed_msg(char const* expression, char const* message, char const*,
                                      char const* file, long line) {
  Fail(std::string("Assertion \"") + expression + "\" failed: " + message, file, line);
}

}  // namespace boost
