// Files that are written in place.
#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include "base/files.h"
#include "made_folder.h"

namespace {

// What lies under a further name, and that name: it is there but while names are counted.
const std::string* flippedFile = nullptr;
const std::string* flippedName = nullptr;
// What takes the place of that name before it is looked at again.
const std::string* newcomer = nullptr;
// The system tells nothing of folders any more once it was asked about a file.
bool isFileTheLastTold = false;
bool areFoldersUntold = false;

}  // namespace

extern "C" {
int __real_fstat(int file, struct stat* status);
int __real_fstatat(int folder, const char* name, struct stat* status, int flags);

int __wrap_fstat(int file, struct stat* status) {
  const int result = __real_fstat(file, status);
  areFoldersUntold = areFoldersUntold || (isFileTheLastTold && S_ISREG(status->st_mode));
  if (areFoldersUntold && S_ISDIR(status->st_mode)) return -1;
  struct stat flipped {};
  if (result != 0 || flippedFile == nullptr || ::stat(flippedFile->c_str(), &flipped) != 0 ||
      flipped.st_ino != status->st_ino) {
    return result;
  }
  EXPECT_EQ(::unlink(flippedName->c_str()), 0);
  EXPECT_EQ(__real_fstat(file, status), 0);
  EXPECT_EQ(::link(flippedFile->c_str(), flippedName->c_str()), 0);
  return 0;
}

// As the system does it: the name first, and then what there is to tell.
int __wrap_fstatat(int folder, const char* name, struct stat* status, int flags) {
  if (newcomer != nullptr) {
    EXPECT_EQ(::rename(newcomer->c_str(), flippedName->c_str()), 0);
  }
  if (flippedFile == nullptr) return __real_fstatat(folder, name, status, flags);
  const int file = ::openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0) return -1;
  const int result = __wrap_fstat(file, status);
  ::close(file);
  return result;
}
}

namespace svc::files {
namespace {

class TFlippedName {
 public:
  TFlippedName(std::string file, std::string name) : file(std::move(file)), name(std::move(name)) {
    flippedFile = &this->file;
    flippedName = &this->name;
  }
  TFlippedName(const TFlippedName&) = delete;
  TFlippedName& operator=(const TFlippedName&) = delete;
  ~TFlippedName() { flippedFile = flippedName = nullptr; }

 private:
  const std::string file;
  const std::string name;
};

namespace fs = std::filesystem;

class InPlace : public TMadeFolder {
 protected:
  void Write(const std::string& path, EStart start, const std::string& text) {
    std::FILE* const file = OpenInPlace(path, start);
    std::fwrite(text.data(), 1, text.size(), file);
    EXPECT_EQ(Sync(file), 0);
    EXPECT_EQ(std::fclose(file), 0);
  }
  ino_t Number(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(::lstat(In(name).c_str(), &status), 0);
    return status.st_ino;
  }
};

TEST_F(InPlace, AFileIsMadeEmptiedOrGoneOnWith) {
  Write(In("log"), EStart::kEmpty, "first");
  const ino_t number = Number("log");
  Write(In("log"), EStart::kBehind, "second");
  EXPECT_EQ(Text("log"), "firstsecond");
  Write(In("log"), EStart::kEmpty, "third");
  EXPECT_EQ(Text("log"), "third");
  EXPECT_EQ(Number("log"), number) << "who follows the log still has it";
  std::FILE* const file = OpenInPlace(In("log"), EStart::kBehind);
  EXPECT_EQ(Truncate(file, 2), 0);
  std::fputs("!", file);
  std::fclose(file);
  EXPECT_EQ(Text("log"), "th!");
}

// As when two programs go on with one log, or one of them begins it anew.
TEST_F(InPlace, OnlyWhatIsGoneOnWithIsAlwaysWrittenBehindTheLastByte) {
  const auto meet = [&](EStart start) {
    Put("log", "");
    std::FILE* const file = OpenInPlace(In("log"), start);
    std::fputs("own", file);
    EXPECT_EQ(Sync(file), 0);
    std::ofstream(In("log"), std::ios::app) << "other";
    std::fputs("!", file);
    EXPECT_EQ(std::fclose(file), 0);
    return Text("log");
  };
  EXPECT_EQ(meet(EStart::kBehind), "ownother!");
  EXPECT_EQ(meet(EStart::kEmpty), "own!ther");
}

TEST_F(InPlace, AnOwnLinkIsFollowed) {
  fs::create_symlink("log", In("link"));
  Write(In("link"), EStart::kEmpty, "x");
  EXPECT_EQ(Text("log"), "x");
}

TEST_F(InPlace, AnotherUsersLinkIsReplacedAndNeverGoneOnWith) {
  if (!IsRoot()) GTEST_SKIP() << "only root gives links away";
  Put("victim", "precious");
  fs::create_symlink("victim", In("log"));
  Give("log");
  EXPECT_EQ(ErrorOf([&] { Write(In("log"), EStart::kBehind, "x"); }), EMLINK);
  EXPECT_TRUE(fs::is_symlink(In("log")));
  Write(In("log"), EStart::kEmpty, "x");
  EXPECT_FALSE(fs::is_symlink(In("log")));
  EXPECT_EQ(Text("log"), "x");
  EXPECT_EQ(Text("victim"), "precious");
  EXPECT_EQ(Names(), (std::set<std::string>{"log", "victim"}));
}

// Whoever may not write to a file may give it a further name all the same.
TEST_F(InPlace, AFileWithFurtherNamesIsReplacedAndNeverGoneOnWith) {
  Put("victim", "precious");
  fs::create_hard_link(In("victim"), In("log"));
  EXPECT_EQ(ErrorOf([&] { Write(In("log"), EStart::kBehind, "x"); }), EMLINK);
  EXPECT_EQ(reason,
            "it is a link of another user's, or a file with several names; give a copy of it");
  Write(In("log"), EStart::kEmpty, "x");
  EXPECT_EQ(Text("log"), "x");
  EXPECT_EQ(Text("victim"), "precious");
}

// As in /tmp, where everybody may make names and take away none but their own.
TEST_F(InPlace, WhatMayNotBeReplacedStaysAndNothingComesBesideIt) {
  if (!IsRoot()) GTEST_SKIP() << "only root can be somebody else";
  ASSERT_EQ(::chmod(root.c_str(), 01777), 0);
  Put("log", "precious");
  fs::create_hard_link(In("log"), In("further"));
  {
    const TAsSomebody somebody;
    EXPECT_EQ(ErrorOf([&] { OpenInPlace(In("log"), EStart::kEmpty); }), EPERM);
  }
  EXPECT_EQ(Text("log"), "precious");
  EXPECT_EQ(Names(), (std::set<std::string>{"further", "log"}));
}

// While the owner of the folder puts now one file there and now a further name of another's.
class InPlaceMeanwhile : public InPlace, public ::testing::WithParamInterface<EStart> {};

TEST_P(InPlaceMeanwhile, WhatWasLookedAtIsWhatIsWrittenTo) {
  fs::permissions(root, fs::perms::all);
  Put("victim", "precious");
  std::atomic<bool> isOver = false;
  std::thread owner([&] {
    for (int turn = 0; !isOver; ++turn) {
      if (turn % 2 == 0) {
        Put("next", "");
      } else {
        fs::create_hard_link(In("victim"), In("next"));
      }
      fs::rename(In("next"), In("log"));
    }
  });
  int written = 0;
  for (int attempt = 0; attempt < 3000 || (written == 0 && attempt < 100000); ++attempt) {
    const auto write = [&] {
      std::FILE* const file = OpenInPlace(In("log"), GetParam());
      std::fputs("x", file);
      std::fclose(file);
    };
    written += ErrorOf(write) == 0 ? 1 : 0;
    if (Text("victim") != "precious") break;
  }
  isOver = true;
  owner.join();
  EXPECT_GT(written, 0);
  EXPECT_EQ(Text("victim"), "precious");
}

INSTANTIATE_TEST_SUITE_P(Starts, InPlaceMeanwhile,
                         ::testing::Values(EStart::kEmpty, EStart::kBehind));

// As whoever may rename there and is quick enough, some time.
TEST_F(InPlace, AFurtherNameThatIsGoneWhenNamesAreCountedIsNotGoneOnWith) {
  Put("victim", "precious");
  fs::create_hard_link(In("victim"), In("log"));
  for (const int mode : {0775, 0757}) {
    fs::permissions(root, static_cast<fs::perms>(mode));
    const TFlippedName flipped(In("victim"), In("log"));
    EXPECT_EQ(ErrorOf([&] { Write(In("log"), EStart::kBehind, "x"); }), EBUSY) << mode;
  }
  EXPECT_EQ(Text("victim"), "precious");
}

TEST_F(InPlace, AFileInWhosePlaceThereIsAnotherIsNotWrittenTo) {
  Put("log", "old");
  Put("other", "precious");
  const std::string name = In("log");
  const std::string other = In("other");
  flippedName = &name;
  newcomer = &other;
  EXPECT_EQ(ErrorOf([&] { OpenInPlace(name, EStart::kEmpty); }), EBUSY);
  flippedName = newcomer = nullptr;
  EXPECT_EQ(Text("log"), "precious");
}

// Of a folder of which nothing is known nobody is trusted.
TEST_F(InPlace, AFileBegunAnewIsANewOneWhereTheSystemDoesNotTellWhoMayRename) {
  Put("log", "old");
  const ino_t number = Number("log");
  const int old = ::open(In("log").c_str(), O_RDONLY);  // Its number stays taken.
  isFileTheLastTold = true;
  const int error = ErrorOf([&] { Write(In("log"), EStart::kEmpty, "x"); });
  const bool wereUntold = areFoldersUntold;
  isFileTheLastTold = areFoldersUntold = false;
  ::close(old);
  EXPECT_EQ(error, 0) << reason;
  EXPECT_TRUE(wereUntold);
  EXPECT_NE(Number("log"), number);
  EXPECT_EQ(Text("log"), "x");
  EXPECT_EQ(Names(), std::set<std::string>{"log"});
}

TEST_F(InPlace, AFileBegunAnewIsANewOneWhereOthersMayRename) {
  const auto numberOf = [&] {
    struct stat status {};
    EXPECT_EQ(::stat(In("log").c_str(), &status), 0);
    return status.st_ino;
  };
  for (const auto& [mode, isNew] : {std::pair(0755, false), std::pair(0775, true),
                                    std::pair(0757, true), std::pair(01777, false)}) {
    fs::permissions(root, static_cast<fs::perms>(mode));
    Put("log", "old text");
    const auto before = numberOf();
    Write(In("log"), EStart::kEmpty, "new");
    EXPECT_EQ(numberOf() != before, isNew) << mode;
    EXPECT_EQ(Text("log"), "new") << mode;
    Write(In("log"), EStart::kBehind, "er");
    EXPECT_EQ(Text("log"), "newer") << mode;
  }
}

TEST_F(InPlace, APipeThatTheProcessWasGivenIsWrittenTo) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  Write("/dev/fd/" + std::to_string(ends[1]), EStart::kEmpty, "x");
  char byte = 0;
  EXPECT_EQ(::read(ends[0], &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
  ::close(ends[0]);
  ::close(ends[1]);
  Write("/dev/null", EStart::kEmpty, "x");
}

TEST_F(InPlace, APipeWithANameIsWrittenToWhereSomebodyReadsIt) {
  ASSERT_EQ(::mkfifo(In("pipe").c_str(), 0600), 0);
  for (const EStart start : {EStart::kEmpty, EStart::kBehind}) {
    EXPECT_EQ(ErrorOf([&] { OpenInPlace(In("pipe"), start); }), ENXIO);
    EXPECT_EQ(reason, "it is a pipe that nobody reads, or a socket");
    const int reader = ::open(In("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    std::FILE* const file = OpenInPlace(In("pipe"), start);
    EXPECT_EQ(::fcntl(::fileno(file), F_GETFL) & O_NONBLOCK, 0) << "who is slow is waited for";
    std::fputs("x", file);
    std::fclose(file);
    char byte = 0;
    EXPECT_EQ(::read(reader, &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    ::close(reader);
  }
}

TEST_F(InPlace, AFolderOrAMissingOneIsAnError) {
  EXPECT_EQ(ErrorOf([&] { OpenInPlace(root.string(), EStart::kEmpty); }), EISDIR);
  EXPECT_EQ(ErrorOf([&] { OpenInPlace(In("none/log"), EStart::kEmpty); }), ENOENT);
}

TEST_F(InPlace, AFullDeviceIsTold) {
  std::FILE* const file = OpenInPlace("/dev/full", EStart::kEmpty);
  std::fputs("x", file);
  EXPECT_EQ(Sync(file), ENOSPC);
  std::fclose(file);
}

}  // namespace
}  // namespace svc::files
