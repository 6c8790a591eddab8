#include <gtest/gtest.h>

#include <thread>

#include "tests/windows/plugin_library.h"

namespace svc::testing {
namespace {

using TEntry = BOOL(WINAPI*)(HINSTANCE, DWORD, LPVOID);

HMODULE Load() { return LoadLibraryW(PluginFile().c_str()); }

// Where the system's loader calls a library, from its header.
TEntry EntryOf(HMODULE library) {
  auto* const base = reinterpret_cast<char*>(library);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* header = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
  return reinterpret_cast<TEntry>(base + header->OptionalHeader.AddressOfEntryPoint);
}

TEST(LibraryEntry, RegistersOnePluginWhenTheLibraryIsLoaded) {
  auto& manager = InstallNewManager();
  const HMODULE library = Load();
  ASSERT_NE(library, nullptr) << GetLastError();
  ASSERT_EQ(manager.GetPlugins().size(), 1u);
  EXPECT_EQ(manager.GetPlugins()[0]->GetPlugin()->GetName(), "Sorvane Version Checker");
  FreeLibrary(library);
}

TEST(LibraryEntry, ThreadsThatComeAndGoChangeNothing) {
  auto& manager = InstallNewManager();
  const HMODULE library = Load();
  ASSERT_NE(library, nullptr) << GetLastError();
  std::thread([] {}).join();
  EXPECT_TRUE(EntryOf(library)(library, DLL_THREAD_ATTACH, nullptr));
  EXPECT_TRUE(EntryOf(library)(library, DLL_THREAD_DETACH, nullptr));
  EXPECT_EQ(manager.GetPlugins().size(), 1u);
  FreeLibrary(library);
}

TEST(LibraryEntry, LeavesItsObjectWithTheHostWhenTheLibraryGoes) {
  auto& manager = InstallNewManager();
  FreeLibrary(Load());
  EXPECT_EQ(GetModuleHandleW(PluginFile().c_str()), nullptr) << "the library is still loaded";
  EXPECT_EQ(manager.GetPlugins().size(), 1u);
}

TEST(LibraryEntry, RegistersAnotherPluginWhenTheLibraryIsLoadedAgain) {
  auto& manager = InstallNewManager();
  FreeLibrary(Load());
  const HMODULE library = Load();
  ASSERT_EQ(manager.GetPlugins().size(), 2u);
  EXPECT_EQ(manager.GetPlugins()[1]->GetPlugin()->GetName(), "Sorvane Version Checker");
  FreeLibrary(library);
}

TEST(LibraryEntry, RefusesTheLibraryWhenTheObjectCannotBeMade) {
  InstallPluginManager({});
  SetLastError(0);
  const HMODULE library = Load();
  EXPECT_EQ(library, nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DLL_INIT_FAILED));
}

}  // namespace
}  // namespace svc::testing
