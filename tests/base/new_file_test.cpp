#include "base/files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "made_folder.h"

namespace {

int interruptions = 0;  // How many of the next calls of write(2) a signal interrupts.
int shortWrites = 0;    // How many of them take one byte, or none where there is one.
int renamingError = 0;  // Of renameat2(2), where it is not 0.

}  // namespace

extern "C" {

ssize_t __real_write(int file, const void* bytes, size_t size);

ssize_t __wrap_write(int file, const void* bytes, size_t size) {
  if (shortWrites > 0) {
    --shortWrites;
    return size > 1 ? __real_write(file, bytes, 1) : 0;
  }
  if (interruptions == 0) return __real_write(file, bytes, size);
  --interruptions;
  errno = EINTR;
  return -1;
}

int __real_renameat2(int from, const char* name, int to, const char* target, unsigned flags);

int __wrap_renameat2(int from, const char* name, int to, const char* target, unsigned flags) {
  if (renamingError == 0) return __real_renameat2(from, name, to, target, flags);
  errno = renamingError;
  return -1;
}

}  // extern "C"

namespace svc::files {
namespace {

namespace fs = std::filesystem;

class NewFile : public TMadeFolder {
 protected:
  void Make(const std::string& name, const std::string& text) {
    TNewFile file(In(name));
    file.Write(text);
    file.Publish();
  }
};

TEST_F(NewFile, AppearsWholeWhenItIsPublished) {
  const std::string large(200000, 'x');
  TNewFile file(In("report"));
  file.Write("a");
  file.Write(large);
  file.Write("z");
  EXPECT_FALSE(fs::exists(In("report")));
  file.Publish();
  EXPECT_EQ(Text("report"), "a" + large + "z");
  EXPECT_EQ(Names(), std::set<std::string>{"report"});
}

// On a file system of the network, say.
TEST_F(NewFile, IsWrittenOnWhereASignalInterrupts) {
  TNewFile file(In("report"));
  file.Write("text");
  interruptions = 2;
  file.Publish();
  EXPECT_EQ(interruptions, 0);
  EXPECT_EQ(Text("report"), "text");
}

// As on a disk that is nearly full, or in a file system of somebody's own.
TEST_F(NewFile, IsWrittenOnWhereTheSystemTakesLittleOrNothing) {
  TNewFile file(In("report"));
  file.Write("text");
  shortWrites = 5;
  file.Publish();
  EXPECT_EQ(shortWrites, 0);
  EXPECT_EQ(Text("report"), "text");
}

// Its name is free again once the file has its place.
TEST_F(NewFile, TakesNothingAwayThatComesUnderTheNameItHad) {
  std::string part;
  {
    TNewFile file(In("report"), [&](const std::string& path) { part = path; });
    file.Publish();
    std::ofstream(part) << "another's";
  }
  EXPECT_TRUE(fs::exists(part));
}

TEST_F(NewFile, LeavesTheOldOneAndNothingElseWhereItIsNotPublished) {
  Put("report", "old");
  {
    TNewFile file(In("report"));
    file.Write(std::string(100000, 'x'));
    EXPECT_EQ(Names().size(), 2U);
  }
  EXPECT_EQ(Text("report"), "old");
  EXPECT_EQ(Names(), std::set<std::string>{"report"});
}

TEST_F(NewFile, IsAnnouncedUnderANameThatNobodyCanForesee) {
  std::set<std::string> paths;
  for (int i = 0; i < 3; ++i) {
    TNewFile file(In("report"), [&](const std::string& path) {
      paths.insert(path);
      EXPECT_FALSE(fs::exists(path)) << "it is announced before it is made";
    });
    EXPECT_TRUE(fs::exists(*Names().begin() == "report" ? "" : In(*Names().begin())));
    EXPECT_TRUE(paths.contains(In(*Names().begin())));
  }
  EXPECT_EQ(paths.size(), 3U);
  for (const std::string& path : paths) {
    EXPECT_TRUE(path.starts_with(In("report.svcheck-"))) << path;
    EXPECT_EQ(path.size(), In("report.svcheck-").size() + 32) << path;
  }
}

TEST_F(NewFile, TakesTheModeOfTheOldOneAndNoMore) {
  const mode_t before = ::umask(022);
  Make("fresh", "x");
  Put("old", "x");
  ASSERT_EQ(::chmod(In("old").c_str(), 06640), 0);
  Make("old", "y");
  TNewFile secret(In("secret"), {}, TNewFile::kForOwner);
  secret.Publish();
  ::umask(before);
  EXPECT_EQ(Mode("fresh"), 0644U);
  EXPECT_EQ(Mode("old"), 0640U);
  EXPECT_EQ(Mode("secret"), 0600U);
}

TEST_F(NewFile, OfTheLongestNameIsWritten) {
  Make(std::string(255, 'n'), "x");
  EXPECT_EQ(Text(std::string(255, 'n')), "x");
  EXPECT_EQ(ErrorOf([&] { Make(std::string(256, 'n'), "x"); }), ENAMETOOLONG);
}

TEST_F(NewFile, FollowsALinkOfTheUsersOwn) {
  fs::create_directory(In("folder"));
  fs::create_symlink("folder/target", In("link"));
  Make("link", "x");
  EXPECT_EQ(fs::read_symlink(In("link")), "folder/target");
  EXPECT_EQ(Text("folder/target"), "x");
  EXPECT_EQ(Names("folder"), std::set<std::string>{"target"});
}

// As many as the system itself follows.
TEST_F(NewFile, FollowsFortyLinksAndNoMore) {
  for (int number = 0; number < 41; ++number) {
    fs::create_symlink(number == 0 ? "end" : "link" + std::to_string(number - 1),
                       In("link" + std::to_string(number)));
  }
  Make("link39", "x");
  EXPECT_EQ(Text("end"), "x");
  EXPECT_EQ(ErrorOf([&] { Make("link40", "x"); }), ELOOP);
}

TEST_F(NewFile, IsFoundByARelativePathAlsoAboveTheCurrentFolder) {
  const fs::path before = fs::current_path();
  fs::create_directories(In("a/b"));
  fs::current_path(In("a/b"));
  const auto make = [](const std::string& name) {
    TNewFile file(name);
    file.Publish();
  };
  make("here");
  make("./../../above");
  make("../b/../beside");
  EXPECT_EQ(ErrorOf([&] { make(""); }), ENOENT);
  fs::current_path(before);
  EXPECT_EQ(Names("a/b"), std::set<std::string>{"here"});
  EXPECT_EQ(Names("a"), (std::set<std::string>{"b", "beside"}));
  EXPECT_EQ(Names(), (std::set<std::string>{"a", "above"}));
}

TEST_F(NewFile, IsNoFolderAndNeedsOne) {
  fs::create_directory(In("folder"));
  fs::create_symlink("loop", In("loop"));
  ASSERT_EQ(::mkfifo(In("pipe").c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf([&] { Make("pipe", "x"); }), EINVAL);
  EXPECT_EQ(reason, "it is a pipe or a device and no file");
  EXPECT_EQ(ErrorOf([&] { Make("folder", "x"); }), EISDIR);
  EXPECT_EQ(ErrorOf([&] { Make("missing/report", "x"); }), ENOENT);
  EXPECT_EQ(ErrorOf([&] { Make("loop", "x"); }), ELOOP);
  Put("file", "");
  EXPECT_EQ(ErrorOf([&] { Make("file/report", "x"); }), ENOTDIR);
  EXPECT_EQ(ErrorOf([&] { Make("file/", "x"); }), ENOTDIR);
}

TEST_F(NewFile, ReplacesTheLinkOfAnotherUser) {
  if (!IsRoot()) GTEST_SKIP() << "only root gives links away";
  Put("victim", "precious");
  ASSERT_EQ(::chmod(In("victim").c_str(), 0600), 0);
  fs::create_symlink("victim", In("foreign"));
  fs::create_symlink("foreign", In("own"));
  Give("foreign");
  Make("own", "x");  // The own link is followed to the other's, and that one is replaced.
  EXPECT_TRUE(fs::is_symlink(In("own")));
  EXPECT_FALSE(fs::is_symlink(In("foreign")));
  EXPECT_EQ(Text("foreign"), "x");
  EXPECT_EQ(Text("victim"), "precious");
  EXPECT_EQ(Mode("victim"), 0600U);
}

TEST_F(NewFile, GoesThroughAnotherUsersLinkOnlyIntoThatUsersFolders) {
  if (!IsRoot()) GTEST_SKIP() << "only root gives links away";
  for (const char* name : {"own", "given", "third"}) fs::create_directory(In(name));
  Give("given");
  Give("third", 4321);
  for (const char* name : {"own", "given", "third"}) {
    fs::create_directory_symlink(name, In(std::string("to-") + name));
    Give(std::string("to-") + name);
  }
  EXPECT_EQ(ErrorOf([&] { Make("to-own/report", "x"); }), EACCES);
  EXPECT_EQ(reason, "the link \"" + In("to-own") +
                        "\" on the way there belongs to another user than root or you, and leads "
                        "out of that user's folders");
  EXPECT_EQ(ErrorOf([&] { Make("to-third/report", "x"); }), EACCES);
  EXPECT_EQ(Names("own"), std::set<std::string>{});
  EXPECT_EQ(Names("third"), std::set<std::string>{});
  Make("to-given/report", "x");
  EXPECT_EQ(Text("given/report"), "x");
  // By a second user's link into that user's folder.
  fs::create_directory_symlink(In("to-third"), In("detour"));
  Give("to-third", 4321);
  Give("detour");
  EXPECT_EQ(ErrorOf([&] { Make("detour/report", "x"); }), EACCES);
}

TEST_F(NewFile, GoesThroughRootsLinkIntoAnyFolder) {
  if (!IsRoot()) GTEST_SKIP() << "only root gives files away";
  fs::create_directory(In("given"));
  Give("given");
  fs::create_directory_symlink("given", In("to-given"));
  Make("to-given/report", "x");
  EXPECT_EQ(Text("given/report"), "x");
  // Also before the link of another user into that user's folder.
  fs::create_directory(In("third"));
  Give("third", 4321);
  fs::create_directory_symlink("third", In("to-third"));
  Give("to-third", 4321);
  fs::create_directory_symlink("to-third", In("detour"));
  Make("detour/report", "y");
  EXPECT_EQ(Text("third/report"), "y");
}

TEST_F(NewFile, StaysInTheFolderInWhichItWasMade) {
  fs::create_directory(In("folder"));
  fs::create_directory(In("victim"));
  Put("victim/report", "precious");
  TNewFile file(In("folder/report"));
  file.Write("x");
  fs::rename(In("folder"), In("moved"));
  fs::create_directory_symlink("victim", In("folder"));
  file.Publish();
  EXPECT_EQ(Text("moved/report"), "x");
  EXPECT_EQ(Text("victim/report"), "precious");
  EXPECT_EQ(Names("victim"), std::set<std::string>{"report"});
}

// Between the making of the file and its publication the owner of the folder has time.
TEST_F(NewFile, ChangesNothingBehindALinkThatIsPutInItsPlace) {
  Put("report", "old");
  ASSERT_EQ(::chmod(In("report").c_str(), 0666), 0);
  Put("victim", "precious");
  ASSERT_EQ(::chmod(In("victim").c_str(), 0600), 0);
  TNewFile file(In("report"));
  fs::remove(In("report"));
  fs::create_symlink("victim", In("report"));
  file.Publish();
  EXPECT_FALSE(fs::is_symlink(In("report")));
  EXPECT_NE(Mode("report"), 0600U) << "a link has no mode to take over";
  EXPECT_EQ(Text("victim"), "precious");
  EXPECT_EQ(Mode("victim"), 0600U);
}

TEST_F(NewFile, PublishedFirstLeavesWhatIsThere) {
  Put("key", "old");
  TNewFile second(In("key"));
  second.Write("new");
  EXPECT_EQ(ErrorOf([&] { second.PublishFirst(); }), EEXIST);
  EXPECT_EQ(Text("key"), "old");
  TNewFile first(In("other"));
  first.Write("new");
  first.PublishFirst();
  EXPECT_EQ(Text("other"), "new");
}

// Not all file systems can rename without taking what is there away.
TEST_F(NewFile, PublishedFirstLeavesWhatIsThereAlsoWhereTheFileSystemCannotTell) {
  for (const int error : {EINVAL, ENOSYS}) {
    Put("key", "old");
    fs::remove(In("other"));
    renamingError = error;
    EXPECT_EQ(ErrorOf([&] {
                TNewFile second(In("key"));
                second.Write("new");
                second.PublishFirst();
              }),
              EEXIST);
    EXPECT_EQ(ErrorOf([&] {
                TNewFile first(In("other"));
                first.Write("new");
                first.PublishFirst();
              }),
              0)
        << reason;
    renamingError = 0;
    EXPECT_EQ(Text("key"), "old");
    EXPECT_EQ(Text("other"), "new");
    EXPECT_EQ(Names(), (std::set<std::string>{"key", "other"}));
  }
  renamingError = EIO;
  EXPECT_EQ(ErrorOf([&] {
              TNewFile file(In("third"));
              file.PublishFirst();
            }),
            EIO);
  renamingError = 0;
  EXPECT_EQ(Names(), (std::set<std::string>{"key", "other"}));
}

TEST_F(NewFile, PublishedElsewhereReplacesALinkThere) {
  Put("victim", "precious");
  fs::create_directory(In("folder"));
  fs::create_symlink("../victim", In("folder/name"));
  TNewFile file(In("staged"));
  file.Write("old");
  file.StartOver();
  file.Write("new");
  file.PublishAs(In("folder/name"));
  EXPECT_EQ(Text("folder/name"), "new");
  EXPECT_FALSE(fs::is_symlink(In("folder/name")));
  EXPECT_EQ(Text("victim"), "precious");
  EXPECT_EQ(Names(), (std::set<std::string>{"folder", "victim"}));
}

TEST_F(NewFile, IsPublishedInThePlaceOfNoFolder) {
  fs::create_directory(In("folder"));
  TNewFile file(In("staged"));
  EXPECT_EQ(ErrorOf([&] { file.PublishAs(In("folder")); }), EISDIR);
  EXPECT_EQ(ErrorOf([&] { file.PublishAs(In("folder/")); }), EISDIR);
  EXPECT_EQ(Names("folder"), std::set<std::string>{});
}

TEST_F(NewFile, StartsOverAlsoBehindWhatIsInTheFile) {
  TNewFile file(In("report"));
  file.Write(std::string(200000, 'x'));
  file.StartOver();
  file.Write("y");
  file.Publish();
  EXPECT_EQ(Text("report"), "y");
}

TEST_F(NewFile, IsToldApartFromPipesAndDevices) {
  Put("file", "");
  fs::create_symlink("file", In("link"));
  fs::create_directory(In("folder"));
  ASSERT_EQ(::mkfifo(In("pipe").c_str(), 0600), 0);
  fs::create_symlink("pipe", In("to-pipe"));
  EXPECT_EQ(WhatIsNamed(In("none")), ENamed::kNothing);
  EXPECT_EQ(WhatIsNamed(In("file")), ENamed::kFile);
  EXPECT_EQ(WhatIsNamed(In("link")), ENamed::kFile);
  EXPECT_EQ(WhatIsNamed(In("folder")), ENamed::kFolder);
  EXPECT_EQ(WhatIsNamed(In("folder/..")), ENamed::kFolder);
  EXPECT_EQ(WhatIsNamed(In("to-pipe")), ENamed::kOther);
  EXPECT_EQ(WhatIsNamed("/dev/null"), ENamed::kOther);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  EXPECT_EQ(WhatIsNamed("/dev/fd/" + std::to_string(ends[1])), ENamed::kOther);
  ::close(ends[0]);
  ::close(ends[1]);
  const int open = ::open(In("file").c_str(), O_RDONLY);
  EXPECT_EQ(WhatIsNamed("/dev/fd/" + std::to_string(open)), ENamed::kFile);
  ::close(open);
  if (!IsRoot()) return;
  Give("to-pipe");
  EXPECT_EQ(WhatIsNamed(In("to-pipe")), ENamed::kFile) << "to be replaced, not followed";
}

}  // namespace
}  // namespace svc::files
