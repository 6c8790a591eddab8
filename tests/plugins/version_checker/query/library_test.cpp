// The library itself, loaded as a host loads it: what crosses its border.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "host/hskcore/exception.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"

using namespace NQRXHSK20;

namespace svc::test {
namespace {

using TLibraryEntry = int (*)(void* module, unsigned long reason, void* reserved);

class TPluginLibrary : public testing::Test {
 protected:
  TPluginLibrary() : manager(boost::make_shared<TPluginManagerNamespace>()) {
    InstallPluginManager(manager);
    library = dlopen(SVC_PLUGIN_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  }
  ~TPluginLibrary() override {
    InstallPluginManager({});
    manager.reset();  // Releases the plug-ins, whose code is in the library.
    if (library != nullptr) dlclose(library);
  }
  int Enter(unsigned long reason) {
    const auto entry = reinterpret_cast<TLibraryEntry>(dlsym(library, "LibraryEntry"));
    return entry(library, reason, nullptr);
  }

  boost::shared_ptr<TPluginManagerNamespace> manager;
  void* library = nullptr;
};

TEST_F(TPluginLibrary, LoadingItAloneRegistersNothing) {
  ASSERT_NE(library, nullptr) << dlerror();
  EXPECT_TRUE(manager->GetPlugins().empty());
}

TEST_F(TPluginLibrary, EachAttachRegistersAnObject) {
  ASSERT_NE(library, nullptr) << dlerror();
  EXPECT_EQ(Enter(1), 1);
  EXPECT_EQ(Enter(0), 1);
  EXPECT_EQ(Enter(1), 1);
  EXPECT_EQ(manager->GetPlugins().size(), 2U);
  EXPECT_NE(manager->SearchForPluginByName("Sorvane Version Checker"), nullptr);
}

TEST_F(TPluginLibrary, ExceptionOfTheHostPassesOutOfTheEntry) {
  ASSERT_NE(library, nullptr) << dlerror();
  InstallPluginManager({});
  EXPECT_THROW(Enter(1), TAssertionFailed);
}

// The host's exceptions have one type on both sides, although the library exports none.
TEST_F(TPluginLibrary, ExceptionsKeepTheirTypeInBothDirections) {
  ASSERT_NE(library, nullptr) << dlerror();
  Enter(1);
  IPluginAdvancedQueryCallbacks* query = manager->GetPlugins().at(0)->GetQueryInterface();
  ASSERT_NE(query, nullptr);
  const auto inventory = MakeInMemoryNamespace();
  CIMContext context;
  // The missing class is an exception of the host that the query takes for its answer.
  EXPECT_NO_THROW(query->RunQuery(inventory, nullptr, context));
  TNamespaceWriter writer(inventory);
  writer.BeginClass("QRXSG_ComputerSystem", "");
  writer.WriteNull("MachineType", ECIMType::kString, false);
  writer.Finish();
  writer.BeginInstance("QRXSG_ComputerSystem");
  writer.WriteValue("MachineType", ECIMType::kString, "4620");
  writer.Finish();
  try {
    query->RunQuery(inventory, nullptr, context);
    FAIL() << "no exception";
  } catch (const THSKException& exception) {
    EXPECT_EQ(exception.GetStatusCode(), THSKStatusCode::kMissingContextEntry);
  }
}

TEST_F(TPluginLibrary, LeavesTheProcessWhenItIsClosed) {
  if (SVC_SANITIZED) GTEST_SKIP() << "with sanitizers it exports unique symbols, which keep it";
  ASSERT_NE(library, nullptr) << dlerror();
  Enter(1);
  InstallPluginManager({});
  manager.reset();
  dlclose(library);
  library = nullptr;
  EXPECT_EQ(dlopen(SVC_PLUGIN_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

}  // namespace
}  // namespace svc::test
