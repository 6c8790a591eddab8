// The document as a whole, captures, and the tree below them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

#include "base/error.h"
#include "collect/collector.h"
#include "collect/linux/linux_collector.h"
#include "made_tree.h"

namespace fs = std::filesystem;

namespace svc::collect {
namespace {

using namespace std::string_literals;

int Shell(const std::string& command) { return std::system(command.c_str()); }

void FillServer(TMadeTree& tree) {
  tree.Write("/sys/class/dmi/id/product_name", "Rack & <\"well\"> -[4620AC1]-\x01\xFF\n")
      .Write("/sys/class/dmi/id/product_serial", "KQ12345\n")
      .Write("/sys/class/dmi/id/bios_version", "QKL118A\n")
      .Write("/sys/firmware/dmi/tables/DMI",
             SmbiosStructure(1, "\x01\x02\0\x03"s, {"QRX", "4620", "KQ12345"}) +
                 SmbiosStructure(0, "\x01\x02\0\0\x03"s, {"QRX", "QKL118A", "03/07/2010"}))
      .Write("/etc/redhat-release", "Red Hat Enterprise Linux Server release 6.4 (Santiago)\n")
      .Write("/proc/sys/kernel/osrelease", "2.6.32-358.el6.x86_64\n")
      .Write("/proc/modules", "zlib 1 0 - Live 0x0\nahci 1 0 - Live 0x0\n")
      .Write("/sys/devices/platform/ipmi_bmc.0/firmware_revision", "1.23\n")
      .Write("/sys/class/scsi_host/host10/proc_name", "mptsas\n")
      .Write("/sys/class/scsi_host/host10/version_fw", "1.0\n")
      .Write("/etc/passwd", "not read\n");
}

TEST(Document, IsAcceptedByXmllintWhateverTheTexts) {
  TMadeTree tree;
  FillServer(tree);
  const std::string document = tree.Collect().document;
  TMadeTree output;
  output.Write("/inventory.xml", document);
  EXPECT_EQ(Shell("xmllint --noout '" + (output.Root() / "inventory.xml").string() + "'"), 0);
  EXPECT_EQ(ReadDocument(document).at(0)["Model"],
            "Rack & <\"well\"> -[4620AC1]-\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Document, IsTheSameTwiceAndOrdered) {
  TMadeTree tree;
  FillServer(tree);
  const Outcome first = tree.Collect();
  EXPECT_EQ(first.document, tree.Collect().document);
  EXPECT_EQ(first.notes, tree.Collect().notes);
  std::vector<std::string> classes;
  for (const auto& instance : ReadDocument(first.document)) classes.push_back(instance.className);
  EXPECT_EQ(classes, (std::vector<std::string>{
                         "QRXSG_ComputerSystem", "QRXSG_OperatingSystem", "QRXSG_SystemBIOSElement",
                         "QRXSG_IPMIFirmwareElement", "QRXSG_LSIFirmwareElement",
                         "QRXSG_DeviceDriverInfo", "QRXSG_DeviceDriverInfo"}));
}

TEST(Notes, AreOneLineEach) {
  TMadeTree tree;
  tree.Write("/proc/modules", "evil\x1B[2J 1 0 - Live 0x0\n");
  for (const std::string& note : tree.Collect().notes) {
    EXPECT_EQ(note.find_first_of("\n\r\x1B"), std::string::npos) << note;
  }
}

TEST(Notes, SayWhatABrokenSmbiosTableCosts) {
  TMadeTree tree;
  tree.Write(kSmbiosTable, std::string(1, '\0'));
  EXPECT_EQ(tree.Notes(kSmbiosTable),
            std::vector<std::string>{
                "/sys/firmware/dmi/tables/DMI: the structure at byte 0 ends within a header; what "
                "only the SMBIOS tables tell is left out"});
}

TEST(Root, ThatIsNoFolderIsAClearError) {
  try {
    TLinuxCollector().Collect({"/nonexistent/tree", false});
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "/nonexistent/tree: cannot be read as a system tree: No such file or directory; "
                 "name a folder that holds etc, proc and sys");
  }
}

class CaptureTest : public testing::Test {
 protected:
  CaptureTest() { FillServer(tree); }

  std::string Capture(bool redact) {
    const std::string file = (output.Root() / "capture.tar").string();
    std::ofstream archive(file, std::ios::binary);
    notes = TLinuxCollector().Capture({tree.Root().string(), redact},
                                      [&archive](std::string_view bytes) { archive << bytes; });
    archive.close();
    EXPECT_EQ(Shell("tar -x -f '" + file + "' -C '" + unpacked.Root().string() + "'"), 0);
    return file;
  }

  TMadeTree tree;
  TMadeTree output;
  TMadeTree unpacked;
  std::vector<std::string> notes;
};

TEST_F(CaptureTest, UnpackedGivesTheSameInventory) {
  Capture(false);
  EXPECT_EQ(unpacked.Collect().document, tree.Collect().document);
  EXPECT_EQ(notes, tree.Collect().notes);
}

TEST_F(CaptureTest, HoldsNothingThatWasNotRead) {
  Capture(false);
  EXPECT_TRUE(fs::exists(unpacked.Root() / "etc/redhat-release"));
  EXPECT_FALSE(fs::exists(unpacked.Root() / "etc/passwd"));
  EXPECT_FALSE(fs::exists(unpacked.Root() / "proc/sys/kernel/arch"))
      << "this machine's architecture says nothing of a tree's";
}

TEST_F(CaptureTest, HoldsNoSerialNumberAndNoHostNameWhenRedacted) {
  tree.Write("/proc/sys/kernel/hostname", "web02\n");
  EXPECT_EQ(Shell("grep -q -a web02 '" + Capture(false) + "'"), 0);
  const std::string file = Capture(true);
  EXPECT_NE(Shell("grep -q -a -e KQ12345 -e web02 '" + file + "'"), 0);
  EXPECT_EQ(unpacked.Collect(true).document, tree.Collect(true).document);
}

TEST_F(CaptureTest, HoldsNothingThatTellsWhoWhenRedactedThoughItWasRead) {
  const std::string uuid = "00112233-4455-6677-8899-aabbccddeeff";
  tree.Write("/sys/class/dmi/id/product_uuid", uuid + "\n").Write("/etc/hostname", "web02\n");
  const TTree read(tree.Root().string());
  for (const char* path : {"/sys/class/dmi/id/product_serial", "/sys/class/dmi/id/product_uuid",
                           "/etc/hostname", "/sys/class/dmi/id/bios_version"}) {
    EXPECT_EQ(read.Read(path).error, 0) << path;
  }
  const auto captured = [&](bool redact) {
    std::string tar;
    WriteCapture(read, redact, [&tar](std::string_view bytes) { tar += bytes; });
    return tar;
  };
  const std::string whole = captured(false);
  const std::string redacted = captured(true);
  for (const std::string& text :
       {"KQ12345"s, "product_serial"s, uuid, "product_uuid"s, "web02"s, "hostname"s}) {
    EXPECT_NE(whole.find(text), std::string::npos) << text;
    EXPECT_EQ(redacted.find(text), std::string::npos) << text;
  }
  EXPECT_NE(redacted.find("QKL118A"), std::string::npos);
}

// The archive's members as "MODE NAME" lines, and what that of the architecture holds.
std::string MembersOf(const std::string& archive) {
  TMadeTree output;
  output.Write("/capture.tar", archive);
  const std::string folder = output.Root().string();
  const std::string tar = "cd '" + folder + "' && tar -f capture.tar ";
  EXPECT_EQ(Shell(tar + "-t -v | sed 's/ .* / /' > members"), 0);
  EXPECT_EQ(Shell(tar + "-x -O proc/sys/kernel/arch >> members"), 0);
  return TTree(folder).Read("/members").bytes;
}

// Kernels before 6.1 have no such file.
TEST(Capture, OfTheRunningSystemHasItsArchitectureOnceAndOfItsFileWhereThereIsOne) {
  utsname names{};
  ASSERT_EQ(::uname(&names), 0);
  TMadeTree tree;
  tree.Write("/etc/hostname", "host\n");
  const auto captured = [&tree] {
    return tree.AsRunning([] {
      const TTree system("/");
      system.Read("/etc/hostname");
      system.Read(kArchitecture);
      std::string archive;
      WriteCapture(system, false, [&archive](std::string_view bytes) { archive += bytes; });
      return archive;
    });
  };
  const auto without = captured();
  if (!without) GTEST_SKIP() << "a process may not have a root of its own here";
  const std::string members = "-rw-r--r-- etc/hostname\n-rw-r--r-- proc/sys/kernel/arch\n";
  EXPECT_EQ(MembersOf(*without), members + names.machine + "\n");
  tree.Write(kArchitecture, "of the file\n");
  EXPECT_EQ(MembersOf(*captured()), members + "of the file\n");
}

TEST(Capture, IsNoLongerThanItsMembersAndItsEnd) {
  TMadeTree tree;
  tree.Write("/etc/hostname", "host\n");
  const TTree read(tree.Root().string());
  ASSERT_TRUE(read.Read("/etc/hostname"));
  std::size_t size = 0;
  WriteCapture(read, false, [&size](std::string_view bytes) { size += bytes.size(); });
  EXPECT_EQ(size, 4U * 512U) << "a header, a block of content, and two that end the archive";
}

TEST(Capture, LacksWhatIsGoneSinceItWasRead) {
  TMadeTree tree;
  tree.Write("/etc/hostname", "host\n").Write("/proc/modules", "");
  const TTree read(tree.Root().string());
  ASSERT_TRUE(read.Read("/etc/hostname"));
  ASSERT_TRUE(read.Read("/proc/modules"));
  std::filesystem::remove(tree.Root() / "etc/hostname");
  std::string archive;
  WriteCapture(read, false, [&archive](std::string_view bytes) { archive += bytes; });
  EXPECT_EQ(archive.find("hostname"), std::string::npos);
  EXPECT_NE(archive.find("proc/modules"), std::string::npos);
}

TEST_F(CaptureTest, EndsWithTheFailureToWriteIt) {
  int calls = 0;
  const TWrite refuse = [&calls](std::string_view) {
    ++calls;
    throw std::out_of_range("no room left");
  };
  EXPECT_THROW(TLinuxCollector().Capture({tree.Root().string(), false}, refuse), std::out_of_range);
  EXPECT_EQ(calls, 1);
}

// From here on the process finds no openat2(2): ENOSYS is of kernels before 5.6, EPERM of filters
// that are older than it.
void TakeOpenat2Away(unsigned error) {
  sock_filter steps[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter = {std::size(steps), steps};
  const bool isTaken = ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                       ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
  errno = 0;
  ::syscall(SYS_openat2, -1, "", nullptr, 0);
  if (!isTaken || errno != static_cast<int>(error)) std::exit(99);
}

// In a process of its own, for what was taken away stays away.
template <typename TBody>
void WithoutOpenat2(unsigned error, const TBody& body) {
  const auto run = [&] {
    TakeOpenat2Away(error);
    body();
    std::exit(::testing::Test::HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(run(), ::testing::ExitedWithCode(0), "");
}

// With "/" for the tree's root; nothing outside of it is to be read.
void ReadThroughLinks(const std::string& root, const std::string& outside) {
  const TTree tree(root);
  EXPECT_FALSE(tree.IsLive());
  EXPECT_EQ(tree.ReadLine("/etc/os-release"), "inside");
  EXPECT_EQ(tree.ReadLine("/etc/up"), "inside");
  EXPECT_EQ(tree.ReadLine("/etc/../usr/../../../usr/lib/os-release"), "inside");
  EXPECT_EQ(tree.ReadLine("/etc/by-folder/os-release"), "inside");
  EXPECT_EQ(tree.List("/etc/by-folder"), (std::vector<std::string>{"os-release"}));
  EXPECT_EQ(tree.Read("/etc/loop").error, ELOOP);
  EXPECT_EQ(tree.Read("/etc/out").error, ENOENT);
  EXPECT_EQ(tree.Read("/etc/out-by-folder/secret").error, ENOENT);
  EXPECT_EQ(tree.Read(outside + "/secret").error, ENOENT);
  EXPECT_EQ(tree.Read("/etc/os-release/below").error, ENOTDIR);
  EXPECT_EQ(tree.Read("/usr/lib/none").error, ENOENT);
  EXPECT_EQ(tree.ReadFiles(),
            (std::set<std::string>{"/etc/os-release", "/etc/up", "/etc/by-folder/os-release",
                                   "/etc/../usr/../../../usr/lib/os-release"}));
}

TEST(Tree, KeepsLinksBelowItsRootWithTheKernelsHelpAndWithout) {
  TMadeTree made;
  TMadeTree outside;
  outside.Write("/secret", "outside\n");
  made.Write("/usr/lib/os-release", "inside\n")
      .Link("/etc/os-release", "/usr/lib/os-release")
      .Link("/etc/up", "../../../../../../usr/lib/os-release")
      .Link("/etc/by-folder", "../usr/./lib/")
      .Link("/etc/out", outside.Root().string() + "/secret")
      .Link("/etc/out-by-folder", outside.Root().string())
      .Link("/etc/loop", "loop");
  const std::string root = made.Root().string();
  ReadThroughLinks(root, outside.Root().string());
  for (const unsigned error : {ENOSYS, EPERM}) {
    WithoutOpenat2(error, [&] { ReadThroughLinks(root, outside.Root().string()); });
  }
}

TEST(Tree, DoesNotWaitForAPipeOrReadAFolder) {
  TMadeTree made;
  made.Write("/etc/folder/file", "");
  ASSERT_EQ(::mkfifo((made.Root() / "etc/redhat-release").c_str(), 0600), 0);
  const TTree tree(made.Root().string());
  EXPECT_EQ(tree.ReadLine("/etc/redhat-release"), "");
  EXPECT_EQ(tree.Read("/etc/folder").error, EISDIR);
}

TEST(Tree, ReadsFilesUpToALimit) {
  TMadeTree made;
  made.Write("/file", "");
  const TTree tree(made.Root().string());
  constexpr std::size_t kLimit = std::size_t{64} << 20U;
  std::filesystem::resize_file(made.Root() / "file", kLimit);
  EXPECT_EQ(tree.Read("/file").bytes.size(), kLimit);
  std::filesystem::resize_file(made.Root() / "file", kLimit + 1);
  const TRead large = tree.Read("/file");
  EXPECT_EQ(large.error, EFBIG);
  EXPECT_EQ(large.bytes, "");
}

TEST(Tree, ListsNamesInOrder) {
  TMadeTree made;
  std::vector<std::string> names;
  for (int i = 0; i < 64; ++i) {
    names.push_back("host" + std::to_string(i));
    made.Write("/sys/" + names.back(), "");
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(TTree(made.Root().string()).List("/sys"), names);
}

TEST(Sources, AreTriedWithoutAFileLeftOpen) {
  const auto openFiles = [] {
    const fs::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  };
  const auto before = openFiles();
  const std::vector<SourceState> sources = TLinuxCollector().TrySources();
  EXPECT_EQ(openFiles(), before);
  const auto isRead = [](const SourceState& source) { return source.problem.empty(); };
  if (std::none_of(sources.begin(), sources.end(), isRead))
    GTEST_SKIP() << "none of them can be read here";
}

TEST(Tree, OfTheRunningSystemIsLive) { EXPECT_TRUE(TTree("/").IsLive()); }

// The roots of the kernel's own file systems have one number.
TEST(Tree, OfAnotherFileSystemIsNotLiveThoughItsNumberIsThatOfTheRoot) {
  struct stat proc {};
  struct stat sys {};
  if (::stat("/proc", &proc) != 0 || ::stat("/sys", &sys) != 0 || proc.st_ino != sys.st_ino ||
      proc.st_dev == sys.st_dev) {
    GTEST_SKIP() << "no two such file systems here";
  }
  const int folder = ::open("/sys", O_PATH | O_DIRECTORY | O_CLOEXEC);
  const auto told = WithRoot("/proc", [folder] {
    const auto kind = [](const std::string& path) {
      return TTree(path).IsLive() ? "live"s : "another"s;
    };
    return kind("/") + ", " + kind("/self/fd/" + std::to_string(folder));
  });
  ::close(folder);
  if (!told) GTEST_SKIP() << "a process may not have a root of its own here";
  EXPECT_EQ(*told, "live, another");
}

TEST(Module, GivesTheCollectorOfThisMachine) {
  const Outcome outcome = LoadCollector().Collect({});
  EXPECT_EQ(&LoadCollector(), &LoadCollector());
  bool found = false;
  for (const auto& instance : ReadDocument(outcome.document)) {
    found = found || (instance.className == "QRXSG_OperatingSystem" &&
                      instance["HardwarePlatform"] != "(none)");
  }
  EXPECT_TRUE(found);
}

TEST(Module, OfServicesIsLoadedAndSaysWhatIsWrongWithAnAddress) {
  ServiceOptions options;
  options.url = "ftp://bmc";
  options.stopRequested = [] { return false; };
  try {
    CollectFromService(options);
    ADD_FAILURE() << "taken";
  } catch (const TError& error) {
    EXPECT_EQ(error.Kind(), EErrorKind::kUsage);
    EXPECT_STREQ(error.what(),
                 "--redfish ftp://bmc: is no address of a server; it looks like "
                 "https://bmc.example.com");
  }
}

}  // namespace
}  // namespace svc::collect
