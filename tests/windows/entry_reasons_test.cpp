#include <gtest/gtest.h>
#include <windows.h>

#include <boost/make_shared.hpp>

#include "host/hskcore/exception.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "plugins/version_checker/query/sv_plugin.h"
#include "runtime/hskcore/host_setup.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

using namespace svc::checker;

namespace {

using NQRXHSK20::TPluginManagerNamespace;

class EntryReason : public ::testing::Test {
 protected:
  void SetUp() override { svc::InstallPluginManager(manager); }
  void TearDown() override { svc::InstallPluginManager({}); }

  boost::shared_ptr<TPluginManagerNamespace> manager =
      boost::make_shared<TPluginManagerNamespace>();
};

TEST_F(EntryReason, EveryProcessAttachRegistersAnObject) {
  EXPECT_EQ(DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr), 1);
  EXPECT_EQ(manager->GetPlugins().size(), 1u);
  EXPECT_EQ(DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr), 1);
  ASSERT_EQ(manager->GetPlugins().size(), 2u);
  EXPECT_NE(manager->GetPlugins()[0]->GetPlugin(), manager->GetPlugins()[1]->GetPlugin());
}

TEST_F(EntryReason, EveryOtherReasonSucceedsAndDoesNothing) {
  for (const DWORD reason : {DWORD{DLL_PROCESS_DETACH}, DWORD{DLL_THREAD_ATTACH},
                             DWORD{DLL_THREAD_DETACH}, DWORD{4}, DWORD{0xFFFFFFFF}}) {
    EXPECT_EQ(DllMain(nullptr, reason, nullptr), 1) << "reason " << reason;
    EXPECT_TRUE(manager->GetPlugins().empty()) << "reason " << reason;
  }
}

TEST_F(EntryReason, ProcessDetachLeavesTheObject) {
  DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  DllMain(nullptr, DLL_PROCESS_DETACH, nullptr);
  ASSERT_EQ(manager->GetPlugins().size(), 1u);
  EXPECT_EQ(manager->GetPlugins()[0]->GetPlugin()->GetVersion(), "1.0");
}

TEST_F(EntryReason, AnExceptionOfTheConstructorRefusesTheLibrary) {
  svc::InstallPluginManager({});
  EXPECT_EQ(DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr), 0);
  EXPECT_THROW(ProcessAttach(kReasonProcessAttach), NQRXHSK20::TAssertionFailed);
}

}  // namespace
