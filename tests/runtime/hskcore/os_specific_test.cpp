#include "host/hskcore/os_specific.h"

#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/hskcore/exception.h"
#include "runtime/hskcore/host_setup.h"

namespace {

int readingError = 0;  // Of readdir(3), where it is not 0.

}  // namespace

// The one of the C library's that the program's own libraries call, too.
extern "C" __attribute__((visibility("default"))) dirent* readdir(DIR* folder) {
  using TReadDir = dirent*(DIR*);
  static auto* const real = reinterpret_cast<TReadDir*>(::dlsym(RTLD_NEXT, "readdir"));
  if (readingError == 0) return real(folder);
  errno = readingError;
  return nullptr;
}

namespace svc {
namespace {

using namespace std::string_literals;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TOSSpecific;

namespace fs = std::filesystem;

class OsSpecific : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    folder = fs::canonical(::testing::TempDir()) / ("os specific " + std::string(test->name()));
    fs::create_directories(folder / "c" / "QRX_Support" / "SV");
    SetDriveRoot(folder.string());
  }
  void TearDown() override {
    SetDriveRoot("");
    fs::remove_all(folder);
  }

  void Write(const std::string& name, const std::string& contents) {
    std::ofstream(folder / "c" / "QRX_Support" / "SV" / name) << contents;
  }

  template <typename TAction>
  static THSKStatusCode StatusOf(TAction action) {
    try {
      action();
    } catch (const THSKException& error) {
      return error.GetStatusCode();
    }
    return THSKStatusCode{};
  }

  fs::path folder;
};

// Prepares one file, when its size is asked for.
class TOneFile : public IFilePreparer {
 public:
  explicit TOneFile(std::string other) : other(std::move(other)) {}
  void Prepare(const std::string& path, const std::string& native) noexcept override {
    prepared += path + " is " + native + ";";
  }
  std::string InPlaceOf(const std::string& path) const override {
    return path == "c:\\index.xml" && !prepared.empty() ? other : std::string();
  }
  std::string prepared;

 private:
  std::string other;
};

TEST_F(OsSpecific, AFileIsPreparedWhenItIsSizedAndThenOpenedInItsPlace) {
  Write("small.xml", "12345");
  const std::string small = (folder / "c" / "QRX_Support" / "SV" / "small.xml").string();
  const std::string own = folder.string() + "/c/index.xml";
  TOneFile preparer(small);
  EXPECT_EQ(SetFilePreparer(&preparer), nullptr);
  EXPECT_EQ(TOSSpecific::NativePath("c:\\index.xml"), own);
  EXPECT_EQ(TOSSpecific::GetFileSize("c:\\index.xml"), 5u);
  EXPECT_EQ(preparer.prepared, "c:\\index.xml is " + own + ";");
  EXPECT_EQ(TOSSpecific::NativePath("c:\\index.xml"), small);
  EXPECT_EQ(TOSSpecific::NativePath("/nowhere/other.xml"), "/nowhere/other.xml");
  EXPECT_EQ(SetFilePreparer(nullptr), &preparer);
  EXPECT_EQ(TOSSpecific::NativePath("c:\\index.xml"), own);
  EXPECT_EQ(StatusOf([] { TOSSpecific::GetFileSize("c:\\index.xml"); }),
            THSKStatusCode::kFileNotFound);
}

TEST_F(OsSpecific, MapsWindowsPathsBelowTheDriveRoot) {
  SetDriveRoot("/drives");
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"C:\\QRX_Support\\SV", "/drives/c/QRX_Support/SV"},
      {"d:/x\\y", "/drives/d/x/y"},
      {"Z:", "/drives/z"},
      {"sv\\sv.definitions.xml", "sv/sv.definitions.xml"},
      {"/here/sv\\header.xml", "/here/sv/header.xml"},
      {"/plain/path", "/plain/path"},
      {"c:relative", "c:relative"},
      {"cd:\\x", "cd:/x"},
      {"A:/x", "/drives/a/x"},
      {"a:/x", "/drives/a/x"},
      {"z:/x", "/drives/z/x"},
      {"@:/x", "@:/x"},
      {"[:/x", "[:/x"},
      {"`:/x", "`:/x"},
      {"{:/x", "{:/x"},
      {"1:/x", "1:/x"},
      {":/x", ":/x"},
      {"", ""},
  };
  for (const auto& [given, native] : rows) {
    EXPECT_EQ(TOSSpecific::NativePath(given), native);
  }
}

TEST_F(OsSpecific, TakesTheDriveRootFromTheStateFolder) {
  SetDriveRoot("");
  EXPECT_TRUE(DriveRoot().ends_with("/svcheck/drives"));
  EXPECT_TRUE(DriveRoot().starts_with("/"));
}

TEST_F(OsSpecific, TellsSizes) {
  Write("a.xml", "12345");
  Write("empty.xml", "");
  EXPECT_EQ(TOSSpecific::GetFileSize("C:\\QRX_Support\\SV\\a.xml"), 5u);
  EXPECT_EQ(TOSSpecific::GetFileSize("C:\\QRX_Support\\SV\\empty.xml"), 0u);
  EXPECT_EQ(StatusOf([] { TOSSpecific::GetFileSize("C:\\QRX_Support\\SV\\b.xml"); }),
            THSKStatusCode::kFileNotFound);
  EXPECT_EQ(StatusOf([] { TOSSpecific::GetFileSize("C:\\QRX_Support\\SV\\a.xml\\b"); }),
            THSKStatusCode::kFileNotFound);
  EXPECT_EQ(StatusOf([] { TOSSpecific::GetFileSize("C:\\QRX_Support\\SV"); }),
            THSKStatusCode::kFileUnreadable);
}

TEST_F(OsSpecific, SaysWhichFileIsMissing) {
  try {
    TOSSpecific::GetFileSize("C:\\Nowhere\\a.xml");
    ADD_FAILURE() << "its size was told";
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetMessageText(), "\"C:\\Nowhere\\a.xml\" does not exist");
  }
}

TEST_F(OsSpecific, SaysOfWhichFileItCannotTellTheSizeAndWhy) {
  fs::create_symlink("loop.xml", folder / "c" / "QRX_Support" / "SV" / "loop.xml");
  const auto causeOf = [](const std::string& path) -> std::string {
    try {
      TOSSpecific::GetFileSize(path);
    } catch (const THSKException& error) {
      EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kFileUnreadable);
      return error.GetMessageText();
    }
    return "none";
  };
  EXPECT_EQ(causeOf("C:\\QRX_Support\\SV\\loop.xml"),
            "\"C:\\QRX_Support\\SV\\loop.xml\": Too many levels of symbolic links");
  EXPECT_EQ(causeOf("C:\\QRX_Support\\SV"), "\"C:\\QRX_Support\\SV\": is a folder");
  EXPECT_EQ(causeOf("/dev/null"), "\"/dev/null\": is no regular file");
}

TEST_F(OsSpecific, ListsNamesByTheirBytes) {
  for (const char* name : {"b.xml", "B.xml", "a.xml", "\xc3\xa9.xml", ".hidden"}) {
    Write(name, "");
  }
  EXPECT_EQ(TOSSpecific::ListDir("C:\\QRX_Support\\SV"),
            (std::vector<std::string>{".hidden", "B.xml", "a.xml", "b.xml", "\xc3\xa9.xml"}));
}

TEST_F(OsSpecific, ListsNothingOfAMissingFolder) {
  EXPECT_TRUE(TOSSpecific::ListDir("C:\\Nowhere").empty());
}

TEST_F(OsSpecific, RefusesToListAFile) {
  Write("a.xml", "");
  EXPECT_EQ(StatusOf([] { TOSSpecific::ListDir("C:\\QRX_Support\\SV\\a.xml"); }),
            THSKStatusCode::kFileUnreadable);
}

TEST_F(OsSpecific, SaysWhyAFolderIsNotListedToItsEnd) {
  Write("a.xml", "");
  const auto causeOf = [](const std::string& path) -> std::string {
    try {
      TOSSpecific::ListDir(path);
    } catch (const THSKException& error) {
      EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kFileUnreadable);
      return error.GetMessageText();
    }
    return "none";
  };
  EXPECT_EQ(causeOf("C:\\QRX_Support\\SV\\a.xml"),
            "\"C:\\QRX_Support\\SV\\a.xml\": Not a directory");
  readingError = EIO;
  const std::string cause = causeOf("C:\\QRX_Support\\SV");
  readingError = 0;
  EXPECT_EQ(cause, "\"C:\\QRX_Support\\SV\": Input/output error");
  EXPECT_EQ(causeOf("C:\\QRX_Support\\SV"), "none");
}

TEST_F(OsSpecific, KnowsTheCurrentFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(folder);
  EXPECT_EQ(TOSSpecific::GetCurrentDir(), folder.string());
  fs::current_path("/");
  EXPECT_EQ(TOSSpecific::GetCurrentDir() + TOSSpecific::kFileSeparator + "sv", "/sv");
  fs::current_path(before);
}

TEST_F(OsSpecific, NamesTheCurrentFolderThatIsGone) {
  const fs::path before = fs::current_path();
  fs::create_directory(folder / "gone");
  fs::current_path(folder / "gone");
  fs::remove(folder / "gone");
  try {
    TOSSpecific::GetCurrentDir();
    ADD_FAILURE() << "it was told";
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kFileUnreadable);
    EXPECT_EQ(error.GetMessageText(), "\".\": No such file or directory");
  }
  fs::current_path(before);
}

std::string ContentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(MemoryFile, HoldsItsBytesAsLongAsItLives) {
  std::string path;
  {
    const TMemoryFile file(
        "12\0"
        "45"s);
    path = file.Path();
    EXPECT_TRUE(path.starts_with("/proc/self/fd/")) << path;
    EXPECT_EQ(ContentsOf(path),
              "12\0"
              "45"s);
  }
  EXPECT_FALSE(fs::exists(fs::symlink_status(path)));
}

TEST(MemoryFile, MayHaveTheFirstDescriptor) {
  const int kept = ::dup(0);
  ::close(0);
  {
    const TMemoryFile file("x");
    EXPECT_EQ(file.Path(), "/proc/self/fd/0");
  }
  ::dup2(kept, 0);
  ::close(kept);
}

std::string DriveRootWith(const char* state, const char* home) {
  const auto set = [](const char* name, const char* value) {
    const char* const before = std::getenv(name);
    std::string kept = before == nullptr ? "" : before;
    value == nullptr ? ::unsetenv(name) : ::setenv(name, value, 1);
    return kept;
  };
  const std::string stateBefore = set("XDG_STATE_HOME", state);
  const std::string homeBefore = set("HOME", home);
  SetDriveRoot("");
  const std::string root = DriveRoot();
  set("XDG_STATE_HOME", stateBefore.empty() ? nullptr : stateBefore.c_str());
  set("HOME", homeBefore.empty() ? nullptr : homeBefore.c_str());
  return root;
}

TEST(DriveRoot, IsInTheUsersOwnStateFolderAndInTheSystemsForRoot) {
  const uid_t user = ::geteuid();
  if (user == 0) {
    EXPECT_EQ(DriveRootWith("/state", "/home/me"), "/var/lib/svcheck/drives");
    ASSERT_EQ(::seteuid(1), 0);
  }
  EXPECT_EQ(DriveRootWith("/state", "/home/me"), "/state/svcheck/drives");
  for (const char* none : {static_cast<const char*>(nullptr), "", "state", "x/state"})
    EXPECT_EQ(DriveRootWith(none, "/home/me"), "/home/me/.local/state/svcheck/drives");
  EXPECT_EQ(DriveRootWith(nullptr, "home"), "/.local/state/svcheck/drives");
  EXPECT_EQ(DriveRootWith(nullptr, nullptr), "/.local/state/svcheck/drives");
  ASSERT_EQ(::seteuid(user), 0);
}

// The limit that it sets ends with it.
class TLimit {
 public:
  TLimit(int what, rlim_t most) : what(what) {
    ::getrlimit(what, &before);
    const rlimit now{most, before.rlim_max};
    ::setrlimit(what, &now);
  }
  ~TLimit() { ::setrlimit(what, &before); }

 private:
  int what;
  rlimit before{};
};

TEST(MemoryFile, HasNoPathWhereItsBytesDoNotFit) {
  const auto before = std::signal(SIGXFSZ, SIG_IGN);
  std::string fits;
  std::string cut = "not asked";
  std::string none = "not asked";
  {
    const TLimit limit(RLIMIT_FSIZE, 4);
    fits = TMemoryFile("1234").Path();
    cut = TMemoryFile("12345").Path();
  }
  {
    const TLimit limit(RLIMIT_NOFILE, 0);
    none = TMemoryFile("1").Path();
  }
  std::signal(SIGXFSZ, before);
  EXPECT_NE(fits, "");
  EXPECT_EQ(cut, "");
  EXPECT_EQ(none, "");
}

}  // namespace
}  // namespace svc
