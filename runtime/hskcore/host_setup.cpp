#include "runtime/hskcore/host_setup.h"

#include <array>
#include <atomic>
#include <boost/assert.hpp>
#include <boost/make_shared.hpp>
#include <map>
#include <mutex>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/hskcore/schema_helper.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/logging.h"
#include "runtime/hskcore/namespace_writer.h"

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

static std::string_view FileName(std::string_view path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

[[noreturn]] static void Fail(std::string message, const char* file, long line) {
  message.append(" (").append(FileName(file)).append(":").append(std::to_string(line)).append(")");
  NQRXHSK20::TRootObject::GetCoreLogger().Log(NQRXHSK20::kLogError, message);
  throw NQRXHSK20::TAssertionFailed(message);
}

HSKCORE_API void assertion_failed(char const* expression, char const*, char const* file,
                                  long line) {
  Fail(std::string("Assertion \"") + expression + "\" failed", file, line);
}

HSKCORE_API void assertion_failed_msg(char const* expression, char const* message, char const*,
                                      char const* file, long line) {
  Fail(std::string("Assertion \"") + expression + "\" failed: " + message, file, line);
}

}  // namespace boost

namespace NQRXHSK20 {

// Empty when the instance has none.
static std::string MachineTypeOf(const boost::shared_ptr<ICIMInstance>& system) {
  try {
    boost::shared_ptr<ICIMProperty> property;
    system->GetProperty(property, "MachineType", {});
    return property->Value({}).ToString(10);
  } catch (const THSKException& error) {
    if (error.GetStatusCode() != THSKStatusCode::kNoSuchProperty) {
      throw;
    }
    return {};
  }
}

const char* const TCIMSchemaHelper::kContextName = "Namespace";
const char* const TCIMSchemaHelper::kPluginNSPName = "plugin.nsp";

std::string TCIMSchemaHelper::GetMachineType(const boost::shared_ptr<ICIMNamespace>& inventory) {
  boost::shared_ptr<ICIMClass> systemClass;
  inventory->GetClass(systemClass, "QRXSG_ComputerSystem", {});
  std::vector<boost::shared_ptr<ICIMInstance>> systems;
  systemClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(systems), true, {});
  for (const auto& system : systems) {
    std::string machineType = MachineTypeOf(system);
    if (!machineType.empty()) {
      return machineType;
    }
  }
  throw THSKException(
      "The inventory names no machine type: no instance of \"QRXSG_ComputerSystem\" has a "
      "\"MachineType\"",
      THSKStatusCode::kFailed);
}

}  // namespace NQRXHSK20

namespace svc {

using NQRXHSK20::ECIMType;

namespace {

struct TBuiltinProperty {
  std::string_view name;
  ECIMType type = ECIMType::kString;
  bool isArray = false;

  // A name alone stands for a string.
  constexpr TBuiltinProperty(const char* name = "", ECIMType type = ECIMType::kString,
                             bool isArray = false)
      : name(name), type(type), isArray(isArray) {}
};

struct TBuiltinClass {
  std::string_view name;
  // Ends with the first empty name.
  std::array<TBuiltinProperty, 9> properties;
};

constexpr std::array<TBuiltinClass, 13> kBuiltinClasses = {{
    {"QRXSG_ComputerSystem", {"MachineType", "Manufacturer", "Model", "SerialNumber", "UUID"}},
    {"QRXSG_OperatingSystem",
     {"Version", {"OSType", ECIMType::kUint16}, "BuildID", "HardwarePlatform", "Caption"}},
    {"QRXSG_SystemBIOSElement", {"Name", "Version", "BuildNumber", "Manufacturer", "ReleaseDate"}},
    {"QRXSG_DiagnosticVPD", {"BuildNumber", "Version"}},
    {"QRXSG_SPROMFirmwareVPDMain", {"Name", "BuildNumber", "Version"}},
    {"QRXSG_IPMIFirmwareElement", {"Name", "Version"}},
    {"QRXSG_BcmDeviceFirmwareElement", {"Name", "SoftwareElementID", "Version"}},
    {"QRXSG_MegaLSIFWPackageBuildFirmwareElement", {"Name", "Description", "Version"}},
    {"QRXSG_LSIFirmwareElement", {"Name", "ProductID", "Version"}},
    {"QRXSG_LSIBIOSElement", {"Name", "ProductID", "Version"}},
    {"QRXSG_DeviceDriverInfo", {"Name", "Path", "Version", "CurrentState"}},
    {"QRXSG_SVResult", {"Type", "Name", "InstalledVersion", "SVVersion"}},
    // What is installed and none of the classes before tells. The version checker does not read it.
    {"SVC_FirmwareDevice",
     {"Name",
      "Vendor",
      "Version",
      "VersionFormat",
      {"Identifiers", ECIMType::kString, true},
      "Source",
      {"VendorIds", ECIMType::kString, true},
      "Branch",
      "BootloaderVersion"}},
}};

}  // namespace

void DeclareBuiltinClasses(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target) {
  TNamespaceWriter writer(target);
  for (const TBuiltinClass& builtin : kBuiltinClasses) {
    writer.BeginClass(builtin.name, "");
    for (const TBuiltinProperty& property : builtin.properties) {
      if (!property.name.empty()) {
        writer.WriteNull(property.name, property.type, property.isArray);
      }
    }
    writer.Finish();
  }
}

namespace {

// What the program set; never destroyed, since paths are mapped until the process ends.
struct TPathSettings {
  std::mutex mutex;
  std::string driveRoot;
};

TPathSettings& Settings() {
  static TPathSettings& settings = *new TPathSettings;
  return settings;
}

constinit std::atomic<IFilePreparer*> filePreparer{nullptr};

}  // namespace

void SetDriveRoot(const std::string& folder) {
  const std::lock_guard lock(Settings().mutex);
  Settings().driveRoot = folder;
}

std::string DriveRoot() {
  const std::lock_guard lock(Settings().mutex);
  return Settings().driveRoot.empty() ? DefaultDriveRoot() : Settings().driveRoot;
}

IFilePreparer* SetFilePreparer(IFilePreparer* preparer) noexcept {
  return filePreparer.exchange(preparer);
}

void PrepareFile(const std::string& path, const std::string& native) {
  if (IFilePreparer* const preparer = filePreparer.load()) preparer->Prepare(path, native);
}

std::string OpenedFor(const std::string& path, std::string native) {
  const IFilePreparer* const preparer = filePreparer.load();
  std::string other = preparer == nullptr ? std::string() : preparer->InPlaceOf(path);
  return other.empty() ? native : other;
}

}  // namespace svc
