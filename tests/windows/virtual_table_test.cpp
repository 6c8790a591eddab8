#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <string>

#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "tests/windows/plugin_library.h"

namespace svc::testing {
namespace {

using NQRXHSK20::CIMContext;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::IPluginAdvancedQueryCallbacks;
using NQRXHSK20::IPluginCallbacks;

using TSlot = void (*)();
using TNumberSlot = int (*)(void*);
using TTextSlot = std::string (*)(void*);
using TPlainSlot = void (*)(void*);
using TQuerySlot = void (*)(void*, boost::shared_ptr<ICIMNamespace>, void*, CIMContext&);

// A virtual destructor takes two places of a table: one that frees the object and one that does
// not (Itanium C++ ABI, section 2.5.2).
constexpr int kDestructorPlaces = 2;

// The operation of a slot, where the destructor is slot 0.
template <typename TOperation>
TOperation Slot(const void* face, int slot) {
  TSlot const* const table = *static_cast<TSlot const* const*>(face);
  return reinterpret_cast<TOperation>(table[kDestructorPlaces + slot - 1]);
}

class VirtualTable : public ::testing::Test {
 protected:
  void SetUp() override {
    auto& manager = InstallNewManager();
    library = LoadLibraryW(PluginFile().c_str());
    ASSERT_NE(library, nullptr) << GetLastError();
    provider = manager.GetPlugins()[0];
    plugin = provider->GetPlugin();
    query = provider->GetQueryInterface();
  }
  void TearDown() override { FreeLibrary(library); }

  HMODULE library = nullptr;
  NQRXHSK20::TPluginManagerProvider* provider = nullptr;
  IPluginCallbacks* plugin = nullptr;
  IPluginAdvancedQueryCallbacks* query = nullptr;
};

TEST_F(VirtualTable, OfThePluginHasItsOperationsInOrder) {
  EXPECT_EQ(Slot<TNumberSlot>(plugin, 1)(plugin), 1);
  EXPECT_EQ(Slot<TTextSlot>(plugin, 2)(plugin), "Sorvane Version Checker");
  EXPECT_EQ(Slot<TTextSlot>(plugin, 3)(plugin), "1.0");
  EXPECT_EQ(Slot<TTextSlot>(plugin, 4)(plugin), "1.0");
  Slot<TPlainSlot>(plugin, 6)(plugin);
  Slot<TPlainSlot>(plugin, 7)(plugin);
  Slot<TPlainSlot>(plugin, 5)(plugin);
}

TEST_F(VirtualTable, TakesAReleaseWithoutAnObject) { Slot<TPlainSlot>(plugin, 5)(nullptr); }

TEST_F(VirtualTable, OfTheQueryHasItsOperationsInOrder) {
  EXPECT_EQ(Slot<TTextSlot>(query, 2)(query), "");
  CIMContext context;
  const auto inventory =
      NQRXHSK20::TRootObject::GetNamespaceProviderManager()->GetProvider("inmem")->CreateNamespace(
          context, 0, "root/cimv2");
  Slot<TQuerySlot>(query, 1)(query, inventory, nullptr, context);
  EXPECT_EQ(context.count(NQRXHSK20::TCIMSchemaHelper::kContextName), 1u);
}

TEST_F(VirtualTable, IsOneOfTwoAndBehindThemStandsTheProviderAndNothingElse) {
  EXPECT_EQ(_msize(plugin), 3 * sizeof(void*));
  EXPECT_EQ(static_cast<void*>(query), reinterpret_cast<void**>(plugin) + 1);
  EXPECT_EQ(reinterpret_cast<void**>(plugin)[2], provider);
}

// What is freed twice, or where it does not begin, breaks the heap.
TEST_F(VirtualTable, OfTheQueryDestroysTheWholeObject) {
  Slot<TPlainSlot>(query, 0)(query);
  EXPECT_EQ(_heapchk(), _HEAPOK);
}

TEST_F(VirtualTable, OfThePluginDestroysTheWholeObject) {
  Slot<TPlainSlot>(plugin, 0)(plugin);
  EXPECT_EQ(_heapchk(), _HEAPOK);
}

void* destroyed = nullptr;
void NoteDestruction(void* object) { destroyed = object; }

TEST_F(VirtualTable, OfThePluginIsWhereReleaseFindsTheDestructor) {
  constexpr std::size_t kHead = 2;     // What stands in front of the slots.
  constexpr std::size_t kPlaces = 11;  // What stands in front, and the operations.
  auto** const face = reinterpret_cast<void***>(plugin);
  void** const table = *face;
  std::array<void*, kPlaces> copy;
  std::copy_n(table - kHead, copy.size(), copy.begin());
  copy[kHead + kDestructorPlaces - 1] = reinterpret_cast<void*>(&NoteDestruction);
  *face = copy.data() + kHead;
  Slot<TPlainSlot>(plugin, 5)(plugin);
  *face = table;
  EXPECT_EQ(destroyed, plugin);
}

}  // namespace
}  // namespace svc::testing
