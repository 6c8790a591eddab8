// The plug-in object as a host sees it: through the slots of its two interfaces. This program knows
// nothing of the plug-in but its attach.
#include "plugins/version_checker/query/sv_plugin.h"

#include <gtest/gtest.h>

#include <new>

#include "host/plugin.nsp/plugin_callbacks.h"
#include "runtime/hskcore/host_setup.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;
using namespace svc::checker;

namespace {

// Whether the allocation of an attach fails.
bool noMemory = false;
// How many allocations were given back by the attach itself.
int givenBack = 0;

}  // namespace

// The allocation of an attach, the only one that asks for no exception, and its counterpart.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return noMemory ? nullptr : ::operator new(size);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  ++givenBack;
  ::operator delete(block);
}

namespace svc::test {
namespace {

// The slots of an object's virtual table by index, in the Itanium C++ ABI, where a virtual
// destructor takes two: that of the object alone, and that which frees it as well.
enum EIdentitySlot {
  kInterfaceVersion = 2,
  kName,
  kVersion,
  kBuildVersion,
  kRelease,
  kHostStarted,
  kHostStopping
};
enum EQuerySlot { kRunQuery = 2, kQueryLanguage };

template <typename TFunction>
TFunction Slot(void* object, int slot) {
  return reinterpret_cast<TFunction>((*static_cast<void***>(object))[slot]);
}

// A text that is returned by value is built where a hidden first argument points.
std::string CallText(void* object, int slot) {
  alignas(std::string) unsigned char place[sizeof(std::string)];
  Slot<void* (*)(void*, void*)>(object, slot)(place, object);
  auto* text = std::launder(reinterpret_cast<std::string*>(place));
  const std::string result = *text;
  text->~basic_string();
  return result;
}

class TPluginObject : public testing::Test {
 protected:
  TPluginObject() { ProcessAttach(kReasonProcessAttach); }

  IPluginCallbacks* Plugin() { return host.pluginManager->GetPlugins().back()->GetPlugin(); }
  void* Identity() { return Plugin(); }
  void* Query() { return dynamic_cast<IPluginAdvancedQueryCallbacks*>(Plugin()); }

  TFakeHost host;
};

TEST_F(TPluginObject, IdentitySlotsAnswerInOrder) {
  EXPECT_EQ(Slot<int (*)(void*)>(Identity(), kInterfaceVersion)(Identity()), 1);
  EXPECT_EQ(CallText(Identity(), kName), "Sorvane Version Checker");
  EXPECT_EQ(CallText(Identity(), kVersion), "1.0");
  EXPECT_EQ(CallText(Identity(), kBuildVersion), "1.0");
}

TEST_F(TPluginObject, NotificationsDoNothing) {
  host.script.Forget();
  Slot<void (*)(void*)>(Identity(), kHostStarted)(Identity());
  Slot<void (*)(void*)>(Identity(), kHostStopping)(Identity());
  EXPECT_TRUE(host.script.Calls().empty());
  EXPECT_TRUE(host.logger.Entries().empty());
}

TEST_F(TPluginObject, QueryLanguageIsEmpty) { EXPECT_EQ(CallText(Query(), kQueryLanguage), ""); }

TEST_F(TPluginObject, QuerySlotRunsTheQuery) {
  using TRunQuery = void (*)(void*, boost::shared_ptr<ICIMNamespace>*, void*, CIMContext*);
  boost::shared_ptr<ICIMNamespace> inventory = host.inventory;
  CIMContext context;
  // An argument of a class with a destructor is passed by its address.
  Slot<TRunQuery>(Query(), kRunQuery)(Query(), &inventory, nullptr, &context);
  EXPECT_EQ(host.logger.Entries(),
            TLog({{4, "In RunQuery"}, {0, "Unable to determine machine type"}}));
}

TEST_F(TPluginObject, FirstBaseIsTheIdentity) {
  EXPECT_EQ(dynamic_cast<void*>(Plugin()), Identity());
  EXPECT_EQ(static_cast<char*>(Query()) - static_cast<char*>(Identity()),
            static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST(PluginRelease, WithoutAnObjectDoesNothing) {
  TFakeHost host;
  ProcessAttach(kReasonProcessAttach);
  void* plugin = host.pluginManager->GetPlugins().at(0)->GetPlugin();
  Slot<void (*)(void*)>(plugin, kRelease)(nullptr);
}

TEST(ProcessAttach, RegistersTheObjectOnce) {
  TFakeHost host;
  EXPECT_EQ(ProcessAttach(1), 1);
  EXPECT_EQ(host.script.Calls(), std::vector<std::string>{"RegisterPlugin"});
  EXPECT_EQ(host.pluginManager.use_count(), 2);  // The test's and the host's.
}

TEST(ProcessAttach, SecondAttachRegistersASecondObject) {
  TFakeHost host;
  EXPECT_EQ(ProcessAttach(1), 1);
  EXPECT_EQ(ProcessAttach(1), 1);
  const auto plugins = host.pluginManager->GetPlugins();
  ASSERT_EQ(plugins.size(), 2U);
  EXPECT_NE(plugins[0]->GetPlugin(), plugins[1]->GetPlugin());
}

TEST(ProcessAttach, OtherReasonsDoNothing) {
  TFakeHost host;
  for (const unsigned long reason : {0UL, 2UL, 3UL, 4UL, 257UL, ~0UL}) {
    EXPECT_EQ(ProcessAttach(reason), 1);
  }
  EXPECT_TRUE(host.script.Calls().empty());
}

TEST(ProcessAttach, DetachLeavesTheObjectRegistered) {
  TFakeHost host;
  ProcessAttach(1);
  ProcessAttach(0);
  ASSERT_EQ(host.pluginManager->GetPlugins().size(), 1U);
  EXPECT_EQ(host.pluginManager->GetPlugins()[0]->GetPlugin()->GetName(), "Sorvane Version Checker");
}

TEST(ProcessAttach, WithoutMemoryItFails) {
  TFakeHost host;
  noMemory = true;
  const int result = ProcessAttach(1);
  noMemory = false;
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(host.script.Calls().empty());
}

TEST(ProcessAttach, ExceptionOfTheHostPassesAndTheStorageIsFreed) {
  for (const TFault fault : {ThrowStatus(1), kThrowOther}) {
    TFakeHost host;
    host.script.Fail("RegisterPlugin", fault);
    const int before = givenBack;
    if (fault.kind == EFault::kThrowStatus) {
      EXPECT_THROW(ProcessAttach(1), THSKException);
    } else {
      EXPECT_THROW(ProcessAttach(1), TOtherFailure);
    }
    EXPECT_EQ(givenBack, before + 1);
    EXPECT_TRUE(host.pluginManager->GetPlugins().empty());
  }
}

TEST(ProcessAttach, WithoutAPluginManagerTheAssertionTrips) {
  TFakeHost host;
  InstallPluginManager({});
  EXPECT_THROW(ProcessAttach(1), TAssertionFailed);
  ASSERT_EQ(host.logger.Entries().size(), 1U);
  EXPECT_NE(host.logger.Entries()[0].text.find("px != 0"), std::string::npos);
}

}  // namespace
}  // namespace svc::test
