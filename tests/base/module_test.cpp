#include "base/module.h"

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <gtest/gtest.h>

namespace svc {
namespace {

// The folder of the system's libraries: where a function lies that no sanitizer replaces.
std::string SystemFolder() {
  return FolderOfCode(reinterpret_cast<const void*>(&gnu_get_libc_version));
}

// A library of the system that nothing here needs.
std::string Spare() { return SystemFolder() + "/libanl.so.1"; }

bool IsLoaded(const std::string& path) {
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

std::string ReasonOf(const std::string& path, const char* name) {
  try {
    TModule(path).Demand<void*>(name);
    return "";
  } catch (const TError& error) {
    return error.what();
  }
}

TEST(Module, IsLoadedForAsLongAsItsHolderLives) {
  ASSERT_FALSE(IsLoaded(Spare()));
  {
    TModule first(Spare());
    EXPECT_TRUE(IsLoaded(Spare()));
    const TModule second(std::move(first));
    EXPECT_TRUE(IsLoaded(Spare()));
    EXPECT_NE(second.Handle(), nullptr);
  }
  EXPECT_FALSE(IsLoaded(Spare()));
}

TEST(Module, ThatIsNotKeptAfterAllIsUnloaded) {
  {
    TModule module(Spare());
    module.Keep();
    module.Keep(false);
  }
  EXPECT_FALSE(IsLoaded(Spare()));
}

TEST(Module, ThatIsKeptStaysBehindItsHolderAndThoseItWasMovedTo) {
  const auto keepInAChild = [] {
    {
      TModule module(Spare());
      module.Keep();
      const TModule other(std::move(module));
    }
    std::_Exit(IsLoaded(Spare()) ? 0 : 1);
  };
  EXPECT_EXIT(keepInAChild(), testing::ExitedWithCode(0), "");
}

TEST(Module, FindsWhatItExportsAndNothingElse) {
  const TModule library(SystemFolder() + "/libm.so.6");
  const auto cosine = library.Demand<double (*)(double)>("cos");
  EXPECT_EQ(cosine(0), 1);
  EXPECT_EQ(library.Find<double (*)(double)>("cos"), cosine);
  EXPECT_EQ(library.Find<void*>("no_such_function"), nullptr);
}

TEST(Module, SaysWhyItIsNotLoadedOrWhatItLacks) {
  EXPECT_EQ(ReasonOf("/no/such.so", "cos"),
            "/no/such.so: cannot open shared object file: No such file or directory");
  EXPECT_EQ(ReasonOf(Spare(), "no_such_function"),
            Spare() + ": undefined symbol: no_such_function");
}

TEST(Module, OfTheInstallationLiesInTheFolderUnderTheSystemsNameForLibraries) {
  EXPECT_EQ(ModuleFile("/opt/lib", "svcheck-unpack"), "/opt/lib/libsvcheck-unpack.so");
}

}  // namespace
}  // namespace svc
