// The plug-in object as a host sees it: made by an attach, reached through the slots of its two
// interfaces, of a fixed size.
#include "plugins/version_checker/query/sv_plugin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <type_traits>

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

// The object of the last attach.
struct TMade {
  void* place = nullptr;  // Null again when it was freed.
  std::size_t size = 0;
};
TMade made;

}  // namespace

// The allocation of an attach, the only one that asks for no exception, and its counterpart.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (noMemory) return nullptr;
  made = {::operator new(size), size};
  return made.place;
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  ++givenBack;
  ::operator delete(block);
}
// What destructors free, with or without its size.
void* operator new(std::size_t size) {
  void* const block = std::malloc(size);
  return block != nullptr ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  if (block != nullptr && block == made.place) made.place = nullptr;
  std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept { ::operator delete(block); }

namespace svc::test {
namespace {

// The slots of an object's virtual table by index, in the Itanium C++ ABI, where a virtual
// destructor takes two: that of the object alone, and that which frees it as well.
enum EDestructor { kDestroy, kDestroyAndFree };
enum EIdentitySlot {
  kInterfaceVersion = 2,
  kName,
  kVersion,
  kBuildVersion,
  kRelease,
  kHostStarted,
  kHostStopping,
  kIdentityEnd
};
enum EQuerySlot { kRunQuery = 2, kQueryLanguage };

template <typename TFunction>
TFunction Slot(void* object, int slot) {
  return reinterpret_cast<TFunction>((*static_cast<void***>(object))[slot]);
}

// A function that takes the object first and returns a text by value is called as the method is, by
// whichever register a processor's convention tells it where the text is to be built.
std::string CallText(void* object, int slot) {
  return Slot<std::string (*)(void*)>(object, slot)(object);
}

class TPluginObject : public testing::Test {
 protected:
  TPluginObject() { ProcessAttach(kReasonProcessAttach); }

  IPluginCallbacks* Plugin() { return host.pluginManager->GetPlugins().back()->GetPlugin(); }
  IPluginCallbacks* Plugin(std::size_t number) {
    return host.pluginManager->GetPlugins().at(number)->GetPlugin();
  }
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

TEST_F(TPluginObject, HasTwoTablesAndItsProviderAndNothingElse) {
  EXPECT_EQ(made.place, Identity());
  EXPECT_EQ(made.size, 3 * sizeof(void*));
  EXPECT_EQ(static_cast<void**>(Identity())[2], host.pluginManager->GetPlugins().back());
}

static_assert(std::is_empty_v<TCatalogueOperations> && std::is_empty_v<TInventoryOperations> &&
              std::is_empty_v<TFirmwareOperations> && std::is_empty_v<TDriverOperations>);

// The operations go by the object's name, whichever folder declares them.
using TObject = TSVPluginCallbacks;
static_assert(TObject::GetPluginDirectory == TCatalogueOperations::GetPluginDirectory);
static_assert(TObject::LoadCatalogueFile == TCatalogueOperations::LoadCatalogueFile);
static_assert(TObject::GetPropertyValue == TInventoryOperations::GetPropertyValue);
static_assert(TObject::GetValue == TInventoryOperations::GetValue);
static_assert(TObject::getOSType == TInventoryOperations::getOSType);
static_assert(TObject::PropertyContains == TInventoryOperations::PropertyContains);
static_assert(TObject::MatchMachineInstances == TInventoryOperations::MatchMachineInstances);
static_assert(TObject::MatchOSInstances == TInventoryOperations::MatchOSInstances);
static_assert(TObject::DeliverInstance == TInventoryOperations::DeliverInstance);
static_assert(TObject::CompareFirmware == TFirmwareOperations::CompareFirmware);
static_assert(TObject::getStringPropertyFromContainer ==
              TFirmwareOperations::getStringPropertyFromContainer);
static_assert(TObject::getVersionItemFromContainer ==
              TFirmwareOperations::getVersionItemFromContainer);
static_assert(TObject::CollectCatalogueDrivers == TDriverOperations::CollectCatalogueDrivers);
static_assert(TObject::AppliesToOS == TDriverOperations::AppliesToOS);
static_assert(TObject::CollectInstalledDrivers == TDriverOperations::CollectInstalledDrivers);
static_assert(TObject::SetRunningState == TDriverOperations::SetRunningState);
static_assert(TObject::CompareDrivers == TDriverOperations::CompareDrivers);

// An object that a test destroys itself, which its manager must not release again.
class TDestroyedObject : public TPluginObject {
 protected:
  // For good: the manager releases its objects when it goes.
  TDestroyedObject() {
    static auto& kept = *new std::vector<boost::shared_ptr<TPluginManagerNamespace>>;
    kept.push_back(host.pluginManager);
    host.script.Forget();
  }
  ~TDestroyedObject() override {
    EXPECT_TRUE(host.script.Calls().empty());
    EXPECT_TRUE(host.logger.Entries().empty());
  }
};

TEST_F(TDestroyedObject, IsFreedByTheFirstSlot) {
  Slot<void (*)(void*)>(Identity(), kDestroyAndFree)(Identity());
  EXPECT_EQ(made.place, nullptr);
}

TEST_F(TDestroyedObject, IsFreedAsAWholeByTheFirstSlotOfTheQuery) {
  Slot<void (*)(void*)>(Query(), kDestroyAndFree)(Query());
  EXPECT_EQ(made.place, nullptr);
}

TEST_F(TDestroyedObject, KeepsItsStorageWhereTheHostDoesNotAskToFreeIt) {
  for (const bool byQuery : {false, true}) {
    ProcessAttach(kReasonProcessAttach);
    host.script.Forget();
    void* const storage = made.place;
    void* const face = byQuery ? Query() : Identity();
    Slot<void (*)(void*)>(face, kDestroy)(face);
    EXPECT_EQ(made.place, storage) << byQuery;
    ::operator delete(storage);
  }
  Plugin(0)->Release();
}

TEST_F(TDestroyedObject, IsFreedByRelease) {
  Slot<void (*)(void*)>(Identity(), kRelease)(Identity());
  EXPECT_EQ(made.place, nullptr);
}

void* destroyed = nullptr;
void NoteDestruction(void* object) { destroyed = object; }

// A host may have derived from the object: its destructor is asked for in the object's table.
TEST_F(TPluginObject, ReleaseGoesThroughTheVirtualDestructor) {
  constexpr std::size_t kHead = 2;  // What stands in front of the slots.
  auto** const face = static_cast<void***>(Identity());
  void** const table = *face;
  std::array<void*, kHead + kIdentityEnd> copy;
  std::copy_n(table - kHead, copy.size(), copy.begin());
  copy[kHead + kDestroyAndFree] = reinterpret_cast<void*>(&NoteDestruction);
  *face = copy.data() + kHead;
  Slot<void (*)(void*)>(face, kRelease)(face);
  *face = table;
  EXPECT_EQ(destroyed, face);
  EXPECT_EQ(made.place, face);
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
