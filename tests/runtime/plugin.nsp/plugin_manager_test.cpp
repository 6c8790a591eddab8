#include "host/plugin.nsp/plugin_manager.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/hskcore/exception.h"
#include "tests/runtime/plugin.nsp/library_plugin.h"

namespace svc {
namespace {

using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TPluginManagerNamespace;
using NQRXHSK20::TPluginManagerProvider;
using svc::testing::TLibraryPlugin;
using svc::testing::TQueryPlugin;

class PluginManager : public ::testing::Test {
 protected:
  std::unique_ptr<TPluginManagerNamespace> manager = std::make_unique<TPluginManagerNamespace>();
};

TEST_F(PluginManager, FindsThePluginOfANameThatCameLast) {
  TPluginManagerProvider* first = manager->RegisterPlugin(new TLibraryPlugin("One"));
  TPluginManagerProvider* second = manager->RegisterPlugin(new TLibraryPlugin("Two"));
  EXPECT_EQ(manager->SearchForPluginByName("One"), first);
  TPluginManagerProvider* third = manager->RegisterPlugin(new TLibraryPlugin("One"));
  EXPECT_EQ(manager->SearchForPluginByName("One"), third);
  EXPECT_EQ(manager->SearchForPluginByName("one"), nullptr);
  EXPECT_EQ(manager->GetPlugins(), (std::vector<TPluginManagerProvider*>{first, second, third}));
}

TEST_F(PluginManager, KnowsWhoAnswersQueries) {
  EXPECT_EQ(manager->RegisterPlugin(new TLibraryPlugin("A"))->GetQueryInterface(), nullptr);
  auto* query = new TQueryPlugin("B");
  EXPECT_EQ(manager->RegisterPlugin(query)->GetQueryInterface(), query);
}

TEST_F(PluginManager, ReleasesEachPluginOnce) {
  int releases = 0;
  auto* twice = new TLibraryPlugin("A", &releases);
  EXPECT_NE(manager->RegisterPlugin(twice), manager->RegisterPlugin(twice));
  manager->RegisterPlugin(new TLibraryPlugin("B", &releases));
  manager.reset();
  EXPECT_EQ(releases, 2);
}

TEST_F(PluginManager, RefusesANullPlugin) {
  try {
    manager->RegisterPlugin(nullptr);
    FAIL() << "registered";
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kFailed);
    EXPECT_STREQ(error.what(), "A null pointer cannot be registered as a plug-in");
  }
  EXPECT_TRUE(manager->GetPlugins().empty());
}

TEST_F(PluginManager, HoldsNoClasses) {
  boost::shared_ptr<NQRXHSK20::ICIMClass> cimClass;
  try {
    manager->GetClass(cimClass, "QRXSG_SVResult", {});
    FAIL() << "found";
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kClassNotFound);
    EXPECT_STREQ(error.what(), "The plug-in manager has no class \"QRXSG_SVResult\"");
  }
}

TEST_F(PluginManager, TakesPluginsFromSeveralThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const std::string name = "plug-in " + std::to_string(t);
      for (int i = 0; i < 100; ++i) {
        manager->RegisterPlugin(new TLibraryPlugin(name));
        EXPECT_NE(manager->SearchForPluginByName(name), nullptr);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(manager->GetPlugins().size(), 400u);
}

}  // namespace
}  // namespace svc
