#include "host/hskcore/root_object.h"

#include <atomic>
#include <boost/make_shared.hpp>
#include <mutex>

#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/namespace_providers.h"
#include "runtime/hskcore/null_logger.h"

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

}  // namespace svc
