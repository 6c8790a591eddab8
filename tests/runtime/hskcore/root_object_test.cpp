#include "host/hskcore/root_object.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <string>

#include "host/hskcore/exception.h"
#include "runtime/hskcore/host_setup.h"
#include "tests/runtime/hskcore/cim_reading.h"
#include "tests/runtime/hskcore/recording_logger.h"

namespace svc::testing {
namespace {

using NQRXHSK20::INamespaceProvider;
using NQRXHSK20::TRootObject;

TEST(CoreLogger, DropsEverythingUntilOneIsInstalled) {
  EXPECT_FALSE(TRootObject::GetCoreLogger().IsLogged(0));
  TRootObject::GetCoreLogger().Log(0, "nobody hears this");
  const auto logger = boost::make_shared<TRecordingLogger>();
  InstallLogger(logger);
  TRootObject::GetCoreLogger().Log(4, "In RunQuery");
  InstallLogger({});
  TRootObject::GetCoreLogger().Log(4, "In RunQuery");
  EXPECT_EQ(logger->lines.size(), 1u);
  EXPECT_EQ(logger.use_count(), 1);
}

TEST(PluginManager, IsTheOneInstalled) {
  EXPECT_FALSE(TRootObject::GetPluginManager());
  const TNamespaceHandle manager = MakeInMemoryNamespace();
  InstallPluginManager(manager);
  EXPECT_EQ(TRootObject::GetPluginManager(), manager);
  InstallPluginManager({});
  EXPECT_FALSE(TRootObject::GetPluginManager());
  EXPECT_EQ(manager.use_count(), 1);
}

TEST(InMemoryProvider, IsThereFromTheStart) {
  const auto provider = TRootObject::GetNamespaceProviderManager()->GetProvider("inmem");
  ASSERT_TRUE(provider);
  EXPECT_EQ(provider->GetName(), "inmem");
  const TNamespaceHandle one = provider->CreateNamespace({}, 0, "root/cimv2");
  const TNamespaceHandle other = provider->CreateNamespace({}, 0, "root/cimv2");
  Declare(one, "A");
  EXPECT_TRUE(ClassOf(one, "A"));
  EXPECT_EQ(StatusOf([&] { ClassOf(other, "A"); }), THSKStatusCode::kClassNotFound);
  EXPECT_EQ(CauseOf([&] { provider->CreateNamespace({}, 1, "root/cimv2"); }),
            "Namespace \"root/cimv2\": the flags 1 are not known, pass 0");
}

TEST(InMemoryNamespace, IsWantedWhereDocumentsAreRead) {
  EXPECT_EQ(CauseOf([] { const TNamespaceWriter writer{TNamespaceHandle()}; }),
            "There is no namespace to write to");
  struct TOther : ICIMNamespace {
    void GetClass(TClassHandle&, std::string_view, const NQRXHSK20::CIMContext&) override {}
  };
  EXPECT_EQ(CauseOf([] { const TNamespaceWriter writer(boost::make_shared<TOther>()); }),
            "Documents can be read into namespaces of the provider \"inmem\" only");
}

TEST(ProviderManager, ReplacesAProviderOfTheSameName) {
  class TProvider : public INamespaceProvider {
    std::string GetName() const override { return "inmem"; }
    TNamespaceHandle CreateNamespace(const NQRXHSK20::CIMContext&, int,
                                     const std::string&) override {
      return {};
    }
  };
  const auto manager = MakeNamespaceProviderManager();
  EXPECT_FALSE(manager->GetProvider("other"));
  const auto own = boost::make_shared<TProvider>();
  manager->RegisterProvider(own);
  EXPECT_EQ(manager->GetProvider("inmem"), own);
  InstallNamespaceProviderManager(manager);
  EXPECT_EQ(TRootObject::GetNamespaceProviderManager(), manager);
  InstallNamespaceProviderManager({});
  EXPECT_NE(TRootObject::GetNamespaceProviderManager()->GetProvider("inmem"), own);
}

}  // namespace
}  // namespace svc::testing
