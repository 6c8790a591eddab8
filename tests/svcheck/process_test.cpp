// What the program leaves behind where it ends, what it tells, and where its files go.
#include "svcheck/system/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "tests/support/temporary_folder.h"

namespace svc {
namespace {

// A variable of the environment while it lives; null to be without it.
class TVariable {
 public:
  TVariable(const char* name, const char* value) : name(name) {
    const char* const old = std::getenv(name);
    if (old != nullptr) before = std::make_unique<std::string>(old);
    Set(value);
  }
  ~TVariable() { Set(before ? before->c_str() : nullptr); }

 private:
  void Set(const char* value) {
    if (value != nullptr) {
      ::setenv(name, value, 1);
    } else {
      ::unsetenv(name);
    }
  }
  const char* name;
  std::unique_ptr<std::string> before;
};

class Files : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return folder.Path() + "/" + name; }
  std::string Text(const std::string& name) const {
    std::ifstream file(At(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  test::TTemporaryFolder folder;
};

using TNames = std::vector<std::string>;

TEST(Folders, OfAUserAreWhereTheEnvironmentSaysOrBelowTheHome) {
  const auto folderWith = [](const char* named, const char* home) {
    const TVariable config("XDG_CONFIG_HOME", named), user("HOME", home);
    return ConfigFolder().string();
  };
  EXPECT_EQ(folderWith("/c", "/h"), "/c/svcheck");
  EXPECT_EQ(folderWith("c", "/h"), "/h/.config/svcheck") << "a relative one counts for nothing";
  EXPECT_EQ(folderWith("", "/h"), "/h/.config/svcheck");
  EXPECT_EQ(folderWith(nullptr, "/h"), "/h/.config/svcheck");
  for (const char* home : {static_cast<const char*>(nullptr), "", "h"})
    EXPECT_EQ(folderWith(nullptr, home), "/.config/svcheck");
  const TVariable state("XDG_STATE_HOME", "/s");
  EXPECT_EQ(StateFolder(), ::geteuid() == 0 ? "/var/lib/svcheck" : "/s/svcheck");
}

TEST(Folders, OfTheProgramLieBesideIt) {
  const std::filesystem::path program = ProgramFolder();
  EXPECT_TRUE(std::filesystem::exists(program / "svcheck_test")) << program;
  EXPECT_EQ(DefaultDataFolder(), program.parent_path() / "share/svcheck");
  EXPECT_EQ(DefaultPlugin(), program.parent_path() / "lib/libsvchecker.so");
  EXPECT_EQ(PublicFirmwarePlugin(), program.parent_path() / "lib/libpublicfirmware.so");
  EXPECT_EQ(SystemConfigFolder(), "/etc/svcheck");
}

TEST_F(Files, AreSeenFromTheFolderInWhichTheProgramStands) {
  EXPECT_EQ(Absolute("a/../b/./c"), folder.Path() + "/b/c");
  EXPECT_EQ(Absolute("/x/../y"), "/y");
  EXPECT_EQ(DownloadFolder(), folder.Path() + "/c/QRX_Support/SV");
  try {
    Absolute("");
    FAIL() << "nothing is no path";
  } catch (const TError& error) {
    EXPECT_EQ(error.Kind(), EErrorKind::kUsage);
    EXPECT_STREQ(error.what(), "a path is empty; name a file or a folder");
  }
}

TEST_F(Files, BelowAFolderAreAllThatIsNone) {
  folder.Write("f/a", "");
  folder.Write("f/g/b", "");
  std::filesystem::create_directories(At("f/empty"));
  std::filesystem::create_directory_symlink("g", At("f/link"));
  std::filesystem::create_symlink("nowhere", At("f/gone"));
  TNames names;
  for (const auto& file : fleet::FilesBelow(At("f")))
    names.push_back(file.lexically_relative(At("f")).string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (TNames{"a", "g/b", "gone"}));
  EXPECT_THROW(fleet::FilesBelow(At("none")), std::system_error);
}

TEST_F(Files, ComeOutWholeOrNotAtAll) {
  folder.Write("out", "old");
  {
    const auto output = OpenOutput("out");
    output->Write("ne");
    output->Write("w");
    EXPECT_EQ(Text("out"), "old") << "until it is all there";
    output->Commit();
    EXPECT_EQ(Text("out"), "new");
  }
  EXPECT_EQ(Text("out"), "new");
  {
    const auto output = OpenOutput("out");
    output->Write("half");
  }
  EXPECT_EQ(Text("out"), "new");
  EXPECT_EQ(Names(), TNames{"out"}) << "and nothing beside it";
}

TEST_F(Files, ThatCannotBeWrittenAreToldWithTheirPlace) {
  const auto failureOf = [](const std::string& path, EErrorKind kind = EErrorKind::kFailure) {
    try {
      const auto output = OpenOutput(path);
      output->Write("text");
      output->Commit();
    } catch (const TError& error) {
      EXPECT_EQ(error.Kind(), kind) << path;
      return std::string(error.what());
    }
    return std::string();
  };
  constexpr const char* kAdvice = "; check that there is space and that you may write there";
  EXPECT_EQ(failureOf("/dev/full"),
            std::string("cannot write /dev/full: No space left on device") + kAdvice);
  const std::string none = failureOf("none/out");
  EXPECT_TRUE(none.starts_with("cannot write none/out: ")) << none;
  EXPECT_TRUE(none.ends_with(kAdvice)) << none;
  EXPECT_EQ(failureOf("", EErrorKind::kUsage), "the name of the output is empty; name a file");
  EXPECT_EQ(failureOf("/dev/null"), "");
}

TEST_F(Files, ForTheMeantimeAreGoneWithWhoeverMadeThem) {
  for (const char* name : {"a", "b", "c"}) folder.Write(name, "");
  {
    const TTemporaryFile gone(At("a"));
    TTemporaryFile stays(At("b"));
    stays.Disarm();
  }
  EXPECT_EQ(Names(), (TNames{"b", "c"}));
  {
    const TTemporaryFile gone(At("b"));
    RemoveTemporaryFiles();
    EXPECT_EQ(Names(), TNames{"c"});
  }
  // Those that are done with count for nothing any more.
  folder.Write("a", "");
  folder.Write("b", "");
  RemoveTemporaryFiles();
  EXPECT_EQ(Names(), (TNames{"a", "b", "c"}));
}

TEST_F(Files, ForTheMeantimeAreEightAtOnceAndOfNamesThatFit) {
  const auto failureOf = [](const std::string& path) {
    try {
      const TTemporaryFile file(path);
    } catch (const TError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_EQ(failureOf(std::string(4095, 'x')), "");
  EXPECT_EQ(failureOf(std::string(4096, 'x')),
            "the path " + std::string(4096, 'x') + " is too long; choose a shorter one");
  std::vector<std::unique_ptr<TTemporaryFile>> files;
  for (int number = 0; number < 8; ++number)
    files.push_back(std::make_unique<TTemporaryFile>(At(std::to_string(number))));
  EXPECT_EQ(failureOf(At("more")), "too many files are being written at once; write fewer");
  files.pop_back();
  EXPECT_EQ(failureOf(At("more")), "");
}

TEST_F(Files, WithoutANameHaveRoomInTheFolderForThem) {
  const TVariable place("TMPDIR", folder.Path().c_str());
  std::FILE* const file = OpenUnnamedFile();
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Names(), TNames());
  EXPECT_EQ(std::fputs("abc", file) >= 0, true);
  EXPECT_TRUE(SeekIn(file, 1));
  EXPECT_EQ(std::fgetc(file), 'b');
  EXPECT_FALSE(SeekIn(file, ~std::uint64_t{0}));
  EXPECT_NE(::fcntl(::fileno(file), F_GETFD) & FD_CLOEXEC, 0);
  std::fclose(file);
  const std::filesystem::path scratch = MakeScratchFolder("test");
  EXPECT_EQ(scratch.parent_path(), folder.Path());
  EXPECT_TRUE(scratch.filename().string().starts_with("svcheck-test-")) << scratch;
  EXPECT_EQ(std::filesystem::status(scratch).permissions(), std::filesystem::perms::owner_all);
}

TEST_F(Files, OfATreeTellTheNameOfItsMachine) {
  EXPECT_EQ(HostName(folder.Path()), "");
  folder.Write("etc/hostname", "web-01\nmore\n");
  EXPECT_EQ(HostName(folder.Path()), "web-01");
  folder.Write("etc/hostname", "web-02");
  EXPECT_EQ(HostName(folder.Path()), "web-02");
  folder.Write("etc/hostname", "");
  EXPECT_EQ(HostName(folder.Path()), "");
  std::filesystem::remove(At("etc/hostname"));
  ASSERT_EQ(::mkfifo(At("etc/hostname").c_str(), 0600), 0);
  EXPECT_EQ(HostName(folder.Path()), "") << "it is not waited for";
  EXPECT_EQ(HostName(At("none")), "");
  char running[256] = {};
  ASSERT_EQ(::gethostname(running, sizeof running - 1), 0);
  EXPECT_EQ(HostName("/"), running);
}

// --- What becomes of a process ---

TEST(Memory, ThatRanOutOnceIsNotedUntilItIsWatchedAnew) {
  const std::new_handler before = std::get_new_handler();
  WatchMemory();
  EXPECT_FALSE(HasMemoryRunOut());
  EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);
  EXPECT_TRUE(HasMemoryRunOut());
  WatchMemory();
  EXPECT_FALSE(HasMemoryRunOut());
  std::set_new_handler(before);
}

TEST(Lines, AreOneEachAndNotesAreSilentOnceThatIsAskedFor) {
  EXPECT_EXIT(
      {
        ReportError("first\x1b[2J");
        ReportNote("second");
        const bool wasQuiet = IsQuiet();
        BeQuiet();
        ReportNote("third");
        ReportError("fourth");
        ::_exit(!wasQuiet && IsQuiet() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "^svcheck: first[^\x1b]*\nsvcheck: second\nsvcheck: fourth\n$");
}

// A runner may ignore or block what a test is going to send, as one under nohup does.
class Interruption : public Files {
 protected:
  Interruption() {
    sigset_t sent;
    sigemptyset(&sent);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      ::signal(number, SIG_DFL);
      sigaddset(&sent, number);
    }
    ::sigprocmask(SIG_UNBLOCK, &sent, nullptr);
  }
};

TEST_F(Interruption, EndsTheProcessByItsSignalAndRemovesWhatIsHalfWritten) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    folder.Write("half", "");
    folder.Write("done", "");
    EXPECT_EXIT(
        {
          HandleInterruption();
          const TTemporaryFile half(At("half"));
          TTemporaryFile done(At("done"));
          done.Disarm();
          SetInterruptionHint("it goes on\nwith --resume");
          ::raise(number);
          ::_exit(0);
        },
        testing::KilledBySignal(number), "^svcheck: it goes on.*with --resume\n$");
    EXPECT_EQ(Names(), TNames{"done"}) << number;
  }
}

TEST_F(Interruption, ThatIsIgnoredStaysSo) {
  EXPECT_EXIT(
      {
        ::signal(SIGHUP, SIG_IGN);
        HandleInterruption();
        ::raise(SIGHUP);
        ::_exit(StopRequested() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST_F(Interruption, IsOnlyNotedWhileADownloadStopsByItself) {
  EXPECT_EXIT(
      {
        HandleInterruption();
        StartPoliteStop();
        if (StopRequested()) ::_exit(1);
        ::raise(SIGTERM);
        if (!StopRequested()) ::_exit(2);
        EndPoliteStop();
        ::_exit(3);
      },
      testing::KilledBySignal(SIGTERM), "^$");
  EXPECT_EXIT(
      {
        HandleInterruption();
        StartPoliteStop();
        ::raise(SIGTERM);
        ::raise(SIGINT);
        ::_exit(3);
      },
      testing::KilledBySignal(SIGINT), "^$")
      << "who interrupts twice wants it now";
  EXPECT_EXIT(
      {
        HandleInterruption();
        StartPoliteStop();
        EndPoliteStop();
        ::_exit(StopRequested() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST_F(Interruption, IsToldByTheProcessAloneThatSaidSo) {
  EXPECT_EXIT(
      {
        HandleInterruption();
        SetInterruptionHint("of the parent");
        const pid_t copy = ::fork();
        if (copy == 0) {
          ::raise(SIGTERM);
          ::_exit(1);
        }
        int status = 0;
        ::waitpid(copy, &status, 0);
        ::_exit(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM ? 0 : 2);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST(StandardStreams, ThatAreClosedAreTakenByNoOtherFile) {
  EXPECT_EXIT(
      {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO}) ::close(stream);
        GuardStandardStreams();
        const int file = ::open("/dev/null", O_RDONLY);
        const bool isLost = ::write(STDOUT_FILENO, "x", 1) == -1;
        ::_exit(file > STDERR_FILENO && isLost ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  const int input = ::dup(STDIN_FILENO);
  GuardStandardStreams();
  const int next = ::dup(STDIN_FILENO);
  EXPECT_EQ(next, input + 1) << "those that are open stay";
  ::close(input);
  ::close(next);
}

TEST(FileSizes, BeyondTheLimitAreAnErrorAndNoEnd) {
  EXPECT_EXIT(
      {
        GuardFileSizes();
        ::raise(SIGXFSZ);
        ::_exit(0);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST(Environment, KeepsWhatIsLetInAlone) {
  EXPECT_EXIT(
      {
        ::clearenv();
        for (const char* name : {"ODD_1", "HOME", "ODD_2", "TMPDIR", "LD_PRELOAD"})
          ::setenv(name, "/x", 1);
        GuardEnvironment();
        std::string names;
        for (char** entry = Environment(); *entry != nullptr; ++entry)
          names += std::string(*entry) + ';';
        ReportError(names);
        ::_exit(0);
      },
      testing::ExitedWithCode(0), "^svcheck: HOME=/x;TMPDIR=/x;\n$");
}

TEST(CapturedOutput, IsAFailureWhereTheSystemRefusesIt) {
  EXPECT_EXIT(
      {
        ::close(STDOUT_FILENO);
        try {
          TCapturedOutput output;
        } catch (const TError& error) {
          ReportError(error.what());
        }
        ::_exit(0);
      },
      testing::ExitedWithCode(0),
      "^svcheck: cannot redirect standard output: Bad file descriptor; raise the limit of open "
      "files\n$");
}

}  // namespace
}  // namespace svc
