#include "tests/support/fake_host.h"

#include <boost/make_shared.hpp>
#include <cassert>

#include "runtime/hskcore/host_setup.h"

using namespace NQRXHSK20;

namespace svc::test {

namespace {

TFakeHost* currentHost = nullptr;

class TFakeProvider : public INamespaceProvider {
 public:
  explicit TFakeProvider(TFakeHost& host) : host(host) {}
  std::string GetName() const override { return "inmem"; }
  boost::shared_ptr<ICIMNamespace> CreateNamespace(const CIMContext& context, int flags,
                                                   const std::string& name) override {
    if (host.script.Enter("CreateNamespace " + name + " " + std::to_string(flags) + " " +
                          ContextText(context))) {
      return {};
    }
    const auto created = boost::make_shared<TFakeNamespace>(host.script);
    host.catalogue = created;
    return created;
  }

 private:
  TFakeHost& host;
};

class TFakeProviderManager : public INamespaceProviderManager {
 public:
  explicit TFakeProviderManager(TFakeHost& host)
      : host(host), provider(boost::make_shared<TFakeProvider>(host)) {}
  void RegisterProvider(const boost::shared_ptr<INamespaceProvider>&) override {}
  boost::shared_ptr<INamespaceProvider> GetProvider(const std::string& name) override {
    if (host.script.Enter("GetProvider " + name) || name != provider->GetName()) return {};
    return provider;
  }

 private:
  TFakeHost& host;
  boost::shared_ptr<INamespaceProvider> provider;
};

std::string TextOf(const TFakeInstance& instance, const char* name) {
  for (const auto& [key, value] : instance.Properties()) {
    if (key == name) return value.ToString(10);
  }
  return "(not set)";
}

}  // namespace

void PrintTo(const TRecord& record, std::ostream* stream) {
  *stream << "\n  " << record.type << " | " << record.name << " | " << record.installedVersion
          << " | " << record.catalogueVersion;
}

TFakeHost::TFakeHost()
    : inventory(boost::make_shared<TFakeNamespace>(script)),
      definitions([](TFakeNamespace& target) { target.Class("QRXPSG_SystemUpdateElement"); }),
      pluginManager(boost::make_shared<TPluginManagerNamespace>()) {
  assert(currentHost == nullptr);
  currentHost = this;
  inventory->Class("QRXSG_SVResult");
  InstallLogger(boost::shared_ptr<ILogger>(boost::shared_ptr<void>(), &logger));  // Not owned.
  InstallPluginManager(pluginManager);
  InstallNamespaceProviderManager(boost::make_shared<TFakeProviderManager>(*this));
}

TFakeHost::~TFakeHost() {
  InstallPluginManager({});
  InstallNamespaceProviderManager({});
  InstallLogger({});
  currentHost = nullptr;
}

TFakeHost& TFakeHost::Current() {
  assert(currentHost != nullptr);
  return *currentHost;
}

TRecords TFakeHost::Records() const {
  TRecords records;
  for (const auto& instance : inventory->Class("QRXSG_SVResult").Instances()) {
    records.push_back({TextOf(*instance, "Type"), TextOf(*instance, "Name"),
                       TextOf(*instance, "InstalledVersion"), TextOf(*instance, "SVVersion")});
  }
  return records;
}

}  // namespace svc::test
