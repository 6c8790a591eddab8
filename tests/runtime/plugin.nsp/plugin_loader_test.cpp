#include "runtime/plugin.nsp/plugin_loader.h"
#include "base/error.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "runtime/hskcore/host_setup.h"
#include "tests/support/access_list.h"

namespace {

std::function<bool(int)> refusesToTell;  // Of a file, what it is.

}  // namespace

// Comes before the library's own for all that is loaded.
extern "C" __attribute__((visibility("default"))) int fstat(int file,
                                                            struct stat* status) noexcept {
  using TCall = int(int, struct stat*);
  static auto* const own = reinterpret_cast<TCall*>(::dlsym(RTLD_NEXT, "fstat"));
  if (!refusesToTell || !refusesToTell(file)) return own(file, status);
  errno = EIO;
  return -1;
}

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
    folder = fs::canonical(::testing::TempDir()) /
             ("plugin loader " + std::string(test->name()) + " " + std::to_string(::getpid()));
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

  // The text with which loading fails; it begins with the plug-in.
  std::string FailureOf(const std::string& path) {
    try {
      LoadPlugin(path, *manager);
    } catch (const TError& error) {
      EXPECT_EQ(std::string(error.what()).find("The plug-in \"" + path + "\" "), 0U)
          << error.what();
      return error.what();
    }
    ADD_FAILURE() << path << " was loaded";
    return "";
  }

  fs::path folder;
  boost::shared_ptr<TPluginManagerNamespace> manager =
      boost::make_shared<TPluginManagerNamespace>();
};

// Whether the process has mapped a file to run it.
bool IsMapped(const std::string& path) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.find(" r-xp ") != std::string::npos && line.ends_with(path)) return true;
  return false;
}

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
  const std::pair<const char*, const char*> kinds[] = {
      {"refusing", "its entry refused to start"},
      {"throwing", "its entry failed: no room for a plug-in"},
      {"throwing_a_number", "its entry failed with an exception of an unknown kind"},
      {"silent", "it registered no plug-in"},
      {"without_entry", "it has no entry \"LibraryEntry\", so it is no plug-in"}};
  for (const auto& [kind, cause] : kinds) {
    const std::string library = Library(kind);
    EXPECT_EQ(FailureOf(library), "The plug-in \"" + library + "\" cannot be used: " + cause);
  }
  EXPECT_TRUE(manager->GetPlugins().empty());
}

// As a network's file system may, for whatever lies on the way.
TEST_F(PluginLoader, RefusesWhatTheSystemTellsNothingOf) {
  const std::string library = Library("silent");
  int asked = 0;
  refusesToTell = [&](int /*file*/) { return ++asked == 0; };
  EXPECT_NE(FailureOf(library).find("it registered no plug-in"), std::string::npos);
  const int all = asked;
  if (all == 0) GTEST_SKIP() << "this C library asks the system in another way";
  ASSERT_GT(all, 2) << "the way there, the library and its folder";
  for (int refused = 1; refused <= all; ++refused) {
    asked = 0;
    refusesToTell = [&](int /*file*/) { return ++asked == refused; };
    EXPECT_EQ(FailureOf(library),
              "The plug-in \"" + library + "\" cannot be loaded: Input/output error")
        << refused << " of " << all;
  }
  refusesToTell = {};
}

TEST_F(PluginLoader, LetsGoOfALibraryThatIsNoPlugin) {
  for (const char* kind : {"refusing", "silent", "without_entry"}) {
    const std::string library = Library(kind);
    FailureOf(library);
    EXPECT_FALSE(IsMapped(library)) << kind;
  }
  const std::string library = Library("good");
  LoadPlugin(library, *manager);
  EXPECT_TRUE(IsMapped(library));
}

TEST_F(PluginLoader, RefusesWhatIsNoLibrary) {
  const auto cannotBeLoaded = [](const std::string& path, const std::string& cause) {
    return "The plug-in \"" + path + "\" cannot be loaded: " + cause;
  };
  const std::string missing = (folder / "missing.so").string();
  EXPECT_EQ(FailureOf(missing), cannotBeLoaded(missing, "No such file or directory"));
  EXPECT_EQ(FailureOf(folder.string()), cannotBeLoaded(folder.string(), "it is no regular file"));
  const std::string text = (folder / "text.so").string();
  std::ofstream(text) << "no library";
  fs::permissions(text, kOwnerOnly);
  FailureOf(text);
  std::ofstream(text, std::ios::trunc);
  FailureOf(text);
}

TEST_F(PluginLoader, RefusesARelativePath) {
  for (const std::string path : {"good.so", "./good.so", ""})
    EXPECT_EQ(FailureOf(path), "The plug-in \"" + path + "\" is not named by an absolute path");
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

TEST_F(PluginLoader, ShowsACommandThatAShellTakesForAnyName) {
  const fs::path odd = folder / "it's";
  fs::create_directory(odd);
  fs::rename(Library("good"), odd / "good");
  fs::permissions(odd / "good", kAnybody);
  const std::string path = (odd / "good").string();
  EXPECT_EQ(FailureOf(path), "The plug-in \"" + path +
                                 "\" cannot be loaded: others may write to \"" + path +
                                 "\"; take that right away with: chmod go-w '" + folder.string() +
                                 "/it'\\''s/good'");
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
  EXPECT_EQ(FailureOf(library), "The plug-in \"" + library + "\" cannot be loaded: \"" +
                                    given.string() + "\" belongs to another user than root or you");
}

TEST_F(PluginLoader, TrustsTheOwnerOfTheProgramThatRuns) {
  if (const char* given = std::getenv("PLUGIN")) {  // In the process that is started below.
    EXPECT_NE(LoadPlugin(given, *manager), nullptr);
    return;
  }
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const std::string library = Library("good");
  fs::permissions(library, fs::perms(0755));
  fs::permissions(folder, fs::perms(0755));
  ASSERT_EQ(::chown(library.c_str(), 4321, 4321), 0);
  EXPECT_NE(FailureOf(library).find("another user"), std::string::npos);
  const fs::path self = fs::read_symlink("/proc/self/exe");
  const std::string program = (folder / "program").string();
  fs::copy_file(self, program);
  const std::string libraries = (self.parent_path().parent_path() / "lib").string();
  const std::string command = "PLUGIN='" + library + "' LD_LIBRARY_PATH='" + libraries + "' '" +
                              program + "' --gtest_filter=*TrustsTheOwner* >/dev/null";
  EXPECT_NE(std::system(command.c_str()), 0) << "the program is root's";
  ASSERT_EQ(::chown(program.c_str(), 4321, 4321), 0);
  EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST_F(PluginLoader, LooksAtTheFolderBehindALink) {
  const fs::path open = folder / "open";
  fs::create_directory(open);
  fs::permissions(open, kAnybody);
  fs::rename(Library("good"), open / "good");
  fs::create_symlink(open / "good", folder / "link");
  FailureOf((folder / "link").string());
}

TEST_F(PluginLoader, TakesAPluginOfTheSameNameInAnotherFolderForAnother) {
  for (const char* kind : {"refusing", "throwing", "good"}) {
    const fs::path own = folder / kind;
    fs::create_directory(own);
    fs::permissions(own, kOwnerOnly);
    fs::rename(Library(kind), own / "plugin.so");
  }
  EXPECT_NE(FailureOf((folder / "refusing/plugin.so").string()).find("refused"), std::string::npos);
  EXPECT_NE(FailureOf((folder / "throwing/plugin.so").string()).find("no room for a plug-in"),
            std::string::npos);
  EXPECT_NE(LoadPlugin((folder / "good/plugin.so").string(), *manager), nullptr);
}

// By its $ORIGIN, for there is no other copy of it on the way of the dynamic linker.
TEST_F(PluginLoader, FindsWhatItNeedsBesideItself) {
  const std::string needing = Library("needing");
  EXPECT_NE(FailureOf(needing).find("beside"), std::string::npos);
  Library("beside");
  EXPECT_NE(LoadPlugin(needing, *manager), nullptr);
}

TEST_F(PluginLoader, LoadsALibraryOnceForAllItsPaths) {
  const std::string library = Library("good");
  fs::create_symlink(library, folder / "link");
  LoadPlugin(library, *manager);
  LoadPlugin((folder / "link").string(), *manager);
  LoadPlugin(library, *manager);
  int mapped = 0;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    mapped += line.find(" r-xp ") != std::string::npos && line.ends_with(library) ? 1 : 0;
  EXPECT_EQ(mapped, 1);
  EXPECT_EQ(manager->GetPlugins().size(), 3U);
}

// The part of /proc by which the library is loaded is nobody's path.
TEST_F(PluginLoader, NamesTheFileWhereTheDynamicLinkerRefusesIt) {
  const std::string text = (folder / "text.so").string();
  std::ofstream(text) << "no library";
  fs::permissions(text, kOwnerOnly);
  const std::string failure = FailureOf(text);
  EXPECT_EQ(failure.find("/proc/"), std::string::npos) << failure;
  EXPECT_NE(failure.find("loaded: " + text + ": "), std::string::npos) << failure;
}

TEST_F(PluginLoader, CountsTheGroupOfRootAsAGroupLikeOthers) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root gives files to groups";
  const std::string library = Library("good");
  fs::permissions(library, fs::perms(0775));
  EXPECT_NE(FailureOf(library).find("chmod go-w '" + library), std::string::npos);
  fs::permissions(library, fs::perms(0755));
  fs::permissions(folder, fs::perms(0775));
  EXPECT_NE(FailureOf(library).find("chmod go-w '" + folder.string() + "'"), std::string::npos);
  fs::permissions(folder, fs::perms(0755));
  EXPECT_NE(LoadPlugin(library, *manager), nullptr);
}

TEST_F(PluginLoader, RefusesWhatAnAccessListLetsOthersWrite) {
  const std::string library = Library("good");
  struct TGrant {
    unsigned short tag, rights, mask;
    unsigned id;
    bool isRefused;
  };
  const TGrant grants[] = {
      {ACL_USER, 7, 7, 65534, true},   {ACL_USER, 2, 2, 65534, true},
      {ACL_USER, 5, 7, 65534, false},  {ACL_USER, 7, 5, 65534, false},
      {ACL_USER, 7, 7, 0, false},      {ACL_USER, 7, 7, ::geteuid(), false},
      {ACL_GROUP, 7, 7, 65534, true},  {ACL_GROUP, 7, 7, 0, true},
      {ACL_GROUP, 5, 7, 65534, false}, {ACL_GROUP_OBJ, 7, 7, 0, true},
      {ACL_GROUP_OBJ, 5, 7, 0, false},
  };
  for (const fs::path& file : {fs::path(library), folder}) {
    for (const TGrant& grant : grants) {
      if (!SetAccessList(file, grant.tag, grant.id, grant.rights, grant.mask))
        GTEST_SKIP() << "no access lists here";
      SCOPED_TRACE(file.string() + " " + std::to_string(grant.tag) + ":" +
                   std::to_string(grant.id) + ":" + std::to_string(grant.rights));
      if (grant.isRefused) {
        EXPECT_NE(FailureOf(library).find("others may write to \"" + file.string() + "\""),
                  std::string::npos);
      } else {
        EXPECT_NE(LoadPlugin(library, *manager), nullptr);
      }
    }
  }
}

TEST_F(PluginLoader, TakesAGroupOfTheOwnersOwnNumberForTheOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  const std::string library = Library("good");
  fs::permissions(folder, fs::perms(0755));
  const auto load = [&](unsigned group, bool isLoaded) {
    ASSERT_EQ(::chown(library.c_str(), 4321, group), 0);
    fs::permissions(library, fs::perms(0775));
    const auto run = [&] {
      if (::setresgid(4321, 4321, 4321) != 0 || ::setresuid(4321, 4321, 4321) != 0) std::exit(2);
      try {
        LoadPlugin(library, *manager);
        std::_Exit(isLoaded ? 0 : 1);
      } catch (const TError&) {
        std::_Exit(isLoaded ? 1 : 0);
      }
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(0), "") << group;
  };
  load(4321, true);
  load(4322, false);
  load(0, false);
}

TEST_F(PluginLoader, TrustsTheUserOfTheProcessWhateverItsNumber) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root becomes another user";
  const std::string library = Library("good");
  fs::permissions(folder, fs::perms(0755));
  fs::permissions(library, fs::perms(0755));
  const auto run = [&](unsigned user, bool isLoaded) {
    if (::setresgid(user, user, user) != 0 || ::setresuid(user, user, user) != 0) std::exit(2);
    try {
      LoadPlugin(library, *manager);
      std::_Exit(isLoaded ? 0 : 1);
    } catch (const TError&) {
      std::_Exit(isLoaded ? 1 : 0);
    }
  };
  for (const unsigned user : {1U, 2U, 4321U}) {
    ASSERT_EQ(::chown(library.c_str(), user, user), 0);
    EXPECT_EXIT(run(user, true), ::testing::ExitedWithCode(0), "") << user;
    EXPECT_EXIT(run(user + 1, false), ::testing::ExitedWithCode(0), "") << user;
  }
}

TEST_F(PluginLoader, TakesAnAccessListForTheUserOfTheProcess) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root becomes another user";
  const std::string library = Library("good");
  fs::permissions(folder, fs::perms(0755));
  if (!SetAccessList(library, ACL_USER, 4321, 7, 7)) GTEST_SKIP() << "no access lists here";
  const auto run = [&](unsigned user, bool isLoaded) {
    if (::setresgid(user, user, user) != 0 || ::setresuid(user, user, user) != 0) std::exit(2);
    try {
      LoadPlugin(library, *manager);
      std::_Exit(isLoaded ? 0 : 1);
    } catch (const TError&) {
      std::_Exit(isLoaded ? 1 : 0);
    }
  };
  EXPECT_EXIT(run(4321, true), ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(run(4322, false), ::testing::ExitedWithCode(0), "");
}

// Others could put there what the library needs.
TEST_F(PluginLoader, LeavesItsOwnFolderToNobodyElseNotEvenWithTheStickyBit) {
  const std::string library = Library("good");
  fs::permissions(folder, kAnybody | fs::perms::sticky_bit);
  EXPECT_NE(FailureOf(library).find("chmod go-w '" + folder.string() + "'"), std::string::npos);
}

TEST_F(PluginLoader, LooksAtTheFolderOfALinkAndItsOwner) {
  const fs::path links = folder / "links";
  fs::create_directory(links);
  fs::create_symlink(Library("good"), links / "plugin");
  fs::permissions(links, kAnybody);
  const std::string path = (links / "plugin").string();
  EXPECT_NE(FailureOf(path).find("chmod go-w '" + links.string() + "'"), std::string::npos);
  fs::permissions(links, kAnybody | fs::perms::sticky_bit);
  EXPECT_NE(LoadPlugin(path, *manager), nullptr) << "others keep to their own links";
  if (::geteuid() != 0) return;
  ASSERT_EQ(::lchown(path.c_str(), 65534, 65534), 0);
  EXPECT_NE(FailureOf(path).find("\"" + path + "\" belongs to another user"), std::string::npos);
}

TEST_F(PluginLoader, LooksAtEachFolderOfEachLinkOnTheWay) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  const fs::path given = folder / "given";
  fs::create_directory(given);
  fs::create_directory_symlink(folder, given / "through");
  fs::create_directory_symlink(given / "through", folder / "first");
  const std::string path = (folder / "first" / fs::path(Library("good")).filename()).string();
  EXPECT_NE(LoadPlugin(path, *manager), nullptr);
  ASSERT_EQ(::chown(given.c_str(), 65534, 65534), 0);
  EXPECT_NE(FailureOf(path).find("\"" + given.string() + "\" belongs to another user"),
            std::string::npos);
}

// Each try meets the link as it leads to the good library or to that of another user; what was
// looked at is what is loaded.
TEST_F(PluginLoader, LoadsWhatItLookedAtHoweverALinkIsFlipped) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  const fs::path own = folder / "own";
  const fs::path given = folder / "given";
  for (const fs::path& place : {own, given}) fs::create_directory(place);
  fs::rename(Library("good"), own / "plugin.so");
  fs::rename(Library("refusing"), given / "plugin.so");
  for (const fs::path& path : {given, given / "plugin.so"})
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
  fs::create_directory_symlink(own, folder / "link");
  std::atomic<bool> isOver = false;
  std::thread flipper([&] {
    for (int turn = 0; !isOver; ++turn) {
      fs::create_directory_symlink(turn % 2 == 0 ? given : own, folder / "next");
      fs::rename(folder / "next", folder / "link");
    }
  });
  int loaded = 0;
  int refused = 0;
  for (int attempt = 0; attempt < 20000 && (attempt < 2000 || loaded == 0 || refused == 0);
       ++attempt) {
    try {
      LoadPlugin((folder / "link" / "plugin.so").string(), *manager);
      ++loaded;
    } catch (const TError& error) {
      ++refused;
      EXPECT_NE(std::string(error.what()).find("another user"), std::string::npos) << error.what();
    }
    if (HasFailure()) break;
  }
  isOver = true;
  flipper.join();
  EXPECT_GT(loaded, 0);
  EXPECT_GT(refused, 0);
}

// A user who may run a program with capabilities must not have a library of their own run in it.
TEST_F(PluginLoader, TrustsRootAloneInAProcessWithMoreRightsThanItsUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root gives capabilities away";
  const std::string library = Library("good");
  fs::permissions(folder, fs::perms(0755));
  fs::permissions(library, fs::perms(0755));
  // `kept`: so many of each half of the capabilities that there are.
  const auto run = [&](std::array<std::uint32_t, 2> kept, bool isLoaded) {
    ::prctl(PR_SET_KEEPCAPS, 1);
    if (::setresgid(4321, 4321, 4321) != 0 || ::setresuid(4321, 4321, 4321) != 0) std::exit(2);
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct data[] = {{0, kept[0], 0}, {0, kept[1], 0}};
    if (::syscall(SYS_capset, &header, data) != 0) std::exit(4);
    try {
      LoadPlugin(library, *manager);
      std::_Exit(isLoaded ? 0 : 1);
    } catch (const TError& error) {
      const bool isOwner = std::string(error.what()).find("another user") != std::string::npos;
      std::_Exit(!isLoaded && isOwner ? 0 : 3);
    }
  };
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct there[2] = {};
  ASSERT_EQ(::syscall(SYS_capget, &header, there), 0);
  const std::uint32_t low = there[0].permitted & -there[0].permitted;
  const std::uint32_t high = there[1].permitted & -there[1].permitted;
  EXPECT_EXIT(run({low, high}, true), ::testing::ExitedWithCode(0), "") << "all of it is root's";
  ASSERT_EQ(::chown(library.c_str(), 4321, 4321), 0);
  EXPECT_EXIT(run({0, 0}, true), ::testing::ExitedWithCode(0), "") << "it is the user's own";
  // One alone is more than the user has, whichever half it is of.
  if (low != 0) {
    EXPECT_EXIT(run({low, 0}, false), ::testing::ExitedWithCode(0), "");
  }
  if (high != 0) {
    EXPECT_EXIT(run({0, high}, false), ::testing::ExitedWithCode(0), "");
  }
}

}  // namespace
}  // namespace svc
