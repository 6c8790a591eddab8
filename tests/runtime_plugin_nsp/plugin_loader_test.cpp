#include "runtime/plugin.nsp/plugin_loader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <filesystem>
#include <fstream>
#include <string>

#include "runtime/hskcore/host_setup.h"

namespace svc {
namespace {

namespace fs = std::filesystem;
using NQRXHSK20::TPluginManagerNamespace;
using NQRXHSK20::TPluginManagerProvider;

constexpr fs::perms kOwnerOnly = fs::perms::owner_all;
constexpr fs::perms kAnybody = fs::perms::all;

class PluginLoader : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    folder = fs::canonical(::testing::TempDir()) / ("plugin loader " + std::string(test->name()));
    fs::remove_all(folder);
    fs::create_directories(folder);
    fs::permissions(folder, kOwnerOnly);
    InstallPluginManager(manager);
  }
  void TearDown() override {
    InstallPluginManager({});
    fs::remove_all(folder);
  }

  // A copy of one of the test's libraries, in a folder that belongs to the user alone.
  std::string Library(const std::string& kind) {
    const std::string name = kind + PLUGIN_SUFFIX;
    fs::copy_file(fs::path(PLUGIN_FOLDER) / name, folder / name,
                  fs::copy_options::overwrite_existing);
    fs::permissions(folder / name, kOwnerOnly);
    return (folder / name).string();
  }

  // The text with which loading fails.
  std::string FailureOf(const std::string& path) {
    try {
      LoadPlugin(path, *manager);
    } catch (const TPluginLoadError& error) {
      EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
      return error.what();
    }
    ADD_FAILURE() << path << " was loaded";
    return "";
  }

  fs::path folder;
  boost::shared_ptr<TPluginManagerNamespace> manager =
      boost::make_shared<TPluginManagerNamespace>();
};

TEST_F(PluginLoader, GivesThePluginThatTheLibraryRegistered) {
  TPluginManagerProvider* provider = LoadPlugin(Library("good"), *manager);
  ASSERT_NE(provider, nullptr);
  EXPECT_EQ(provider->GetPlugin()->GetName(), "Good");
  EXPECT_NE(provider->GetQueryInterface(), nullptr);
  EXPECT_EQ(manager->SearchForPluginByName("Good"), provider);
}

TEST_F(PluginLoader, FollowsALinkToTheLibrary) {
  fs::create_directory(folder / "links");
  fs::create_symlink(Library("good"), folder / "links" / "plugin");
  EXPECT_NE(LoadPlugin((folder / "links" / "plugin").string(), *manager), nullptr);
}

TEST_F(PluginLoader, SaysWhyALibraryIsNoPlugin) {
  EXPECT_NE(FailureOf(Library("refusing")).find("refused"), std::string::npos);
  EXPECT_NE(FailureOf(Library("throwing")).find("no room for a plug-in"), std::string::npos);
  EXPECT_NE(FailureOf(Library("silent")).find("registered no plug-in"), std::string::npos);
  EXPECT_NE(FailureOf(Library("without_entry")).find("LibraryEntry"), std::string::npos);
  EXPECT_TRUE(manager->GetPlugins().empty());
}

TEST_F(PluginLoader, RefusesWhatIsNoLibrary) {
  FailureOf((folder / "missing.so").string());
  FailureOf(folder.string());
  const std::string text = (folder / "text.so").string();
  std::ofstream(text) << "no library";
  fs::permissions(text, kOwnerOnly);
  FailureOf(text);
  std::ofstream(text, std::ios::trunc);
  FailureOf(text);
}

TEST_F(PluginLoader, RefusesARelativePath) {
  FailureOf("good.so");
  FailureOf("./good.so");
  FailureOf("");
}

TEST_F(PluginLoader, RefusesWhatOthersCanWrite) {
  const std::string library = Library("good");
  fs::permissions(library, kAnybody);
  EXPECT_NE(FailureOf(library).find("chmod"), std::string::npos);
  fs::permissions(library, kOwnerOnly);
  fs::permissions(folder, kAnybody);
  EXPECT_NE(FailureOf(library).find("chmod"), std::string::npos);
  fs::permissions(folder, kOwnerOnly);
  EXPECT_NE(LoadPlugin(library, *manager), nullptr);
}

TEST_F(PluginLoader, RefusesAFolderThatOthersCanReplace) {
  const fs::path below = folder / "own" / "lib";
  fs::create_directories(below);
  const std::string library = (below / "good").string();
  fs::rename(Library("good"), library);
  fs::permissions(folder, kAnybody);
  EXPECT_NE(FailureOf(library).find("chmod go-w '" + folder.string() + "'"), std::string::npos);
  fs::permissions(folder, kAnybody | fs::perms::sticky_bit);
  EXPECT_NE(LoadPlugin(library, *manager), nullptr) << "others keep to their own entries";
}

TEST_F(PluginLoader, RefusesAFolderOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  const fs::path given = folder / "given";
  fs::create_directories(given / "lib");
  const std::string library = (given / "lib" / "good").string();
  fs::rename(Library("good"), library);
  ASSERT_EQ(::chown(given.c_str(), 65534, 65534), 0);
  EXPECT_NE(FailureOf(library).find("another user"), std::string::npos);
}

TEST_F(PluginLoader, LooksAtTheFolderBehindALink) {
  const fs::path open = folder / "open";
  fs::create_directory(open);
  fs::permissions(open, kAnybody);
  fs::rename(Library("good"), open / "good");
  fs::create_symlink(open / "good", folder / "link");
  FailureOf((folder / "link").string());
}

}  // namespace
}  // namespace svc
