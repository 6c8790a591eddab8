#include <archive.h>
#include <archive_entry.h>
#include <elf.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <thread>
#include <utility>

#include "made_tree.h"

namespace {

// The errors that the next calls to read or write end with. 0 stands for none: they do what they
// should, but write only a byte, and say nothing of errors, and kNothing for a call that writes
// none.
constexpr int kNothing = -1;
std::deque<int> endsOfReading;
std::deque<int> endsOfWriting;
bool isWritingBounded = false;
int writings = 0;

// True where the call ends so.
bool EndsWith(std::deque<int>& ends) {
  const int error = ends.front();
  ends.pop_front();
  if (error > 0) errno = error;
  return error != 0;
}

}  // namespace

extern "C" {

ssize_t __real_pread(int file, void* bytes, size_t size, off_t at);
ssize_t __real_write(int file, const void* bytes, size_t size);

ssize_t __wrap_pread(int file, void* bytes, size_t size, off_t at) {
  if (!endsOfReading.empty() && EndsWith(endsOfReading)) return -1;
  return __real_pread(file, bytes, size, at);
}

// Whoever goes on without end ends the test program.
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
  if (isWritingBounded && ++writings > 1000) std::abort();
  if (endsOfWriting.empty()) return __real_write(file, bytes, size);
  const bool isNothing = endsOfWriting.front() == kNothing;
  if (EndsWith(endsOfWriting)) return isNothing ? 0 : -1;
  return __real_write(file, bytes, 1);
}

}  // extern "C"

namespace svc::collect {
namespace {

using TTexts = std::vector<std::string>;

constexpr const char* kRelease = "2.6.32-358.el6.x86_64";

std::string FileBytes(const std::string& file) {
  std::ifstream input(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

struct TCompression {
  const char* ending;
  int filter;
};
constexpr TCompression kCompressions[] = {
    {".gz", ARCHIVE_FILTER_GZIP}, {".xz", ARCHIVE_FILTER_XZ}, {".zst", ARCHIVE_FILTER_ZSTD}};

std::string Compressed(const std::string& bytes, int filter) {
  std::string packed(bytes.size() + 4096, '\0');
  std::size_t size = 0;
  archive* const writer = ::archive_write_new();
  ::archive_write_add_filter(writer, filter);
  ::archive_write_set_format_raw(writer);
  ::archive_write_set_bytes_per_block(writer, 0);
  ::archive_write_open_memory(writer, packed.data(), packed.size(), &size);
  archive_entry* const entry = ::archive_entry_new();
  ::archive_entry_set_filetype(entry, AE_IFREG);
  EXPECT_EQ(::archive_write_header(writer, entry), ARCHIVE_OK);
  EXPECT_GE(::archive_write_data(writer, bytes.data(), bytes.size()), 0);
  ::archive_entry_free(entry);
  EXPECT_EQ(::archive_write_free(writer), ARCHIVE_OK);
  packed.resize(size);
  return packed;
}

class DriversTest : public testing::Test {
 protected:
  DriversTest() { tree.Write("/proc/sys/kernel/osrelease", std::string(kRelease) + "\n"); }

  void Install(const std::string& path) {
    tree.Write("/lib/modules/" + std::string(kRelease) + "/" + path, FileBytes(DRIVER_FILE));
  }
  // Two loaded modules: e1000e, whose file has these bytes, and ixgbe, with which all is well.
  void InstallBeside(const std::string& ending, const std::string& bytes) {
    const std::string folder = "/lib/modules/" + std::string(kRelease) + "/";
    tree.Write(folder + "e1000e.ko" + ending, bytes)
        .Write(folder + "modules.dep", "e1000e.ko" + ending + ":\nixgbe.ko:\n")
        .Write("/proc/modules", "e1000e 1 0 - Live 0x0\nixgbe 1 0 - Live 0x0\n");
    Install("ixgbe.ko");
  }
  // Makes the index that depmod(8) makes after each installation.
  void Index(const std::string& below = "/") {
    const std::string command = std::string(DEPMOD) + " -b '" + tree.Root().string() + below +
                                "' " + kRelease + " 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }

  TMadeTree tree;
};

TEST_F(DriversTest, HaveTheFileTheVersionAndTheStateOfTheLoadedModule) {
  Install("kernel/drivers/net/e1000e/e1000e.ko");
  Install("updates/nvme-core.ko");
  Install("kernel/not_loaded.ko");
  Index();
  tree.Write("/proc/modules",
             "nvme_core 99999 1 - Loading 0x0000000000000000\n"
             "e1000e 244242 2 nvme_core,scsi_mod, Live 0xffffffffa0000000 (OE)\n");
  const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
  ASSERT_EQ(drivers.size(), 2U);
  EXPECT_EQ(drivers[0]["Name"], "e1000e");
  EXPECT_EQ(drivers[0]["Path"],
            "\\lib\\modules\\2.6.32-358.el6.x86_64\\kernel\\drivers\\net\\e1000e\\e1000e.ko");
  EXPECT_EQ(drivers[0]["Version"], "3.8.7-NAPI");
  EXPECT_EQ(drivers[0]["CurrentState"], "4");
  EXPECT_EQ(drivers[1]["Path"], "\\lib\\modules\\2.6.32-358.el6.x86_64\\updates\\nvme-core.ko");
  EXPECT_EQ(drivers[1]["CurrentState"], "2");
}

TEST_F(DriversTest, AreFoundThroughALinkToUsr) {
  tree.Write("/usr/lib/modules/" + std::string(kRelease) + "/extra/ixgbe.ko",
             FileBytes(DRIVER_FILE))
      .Link("/lib", "/usr/lib")
      .Write("/proc/modules", "ixgbe 1 0 - Live 0x0\n");
  Index("/usr");
  EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "3.8.7-NAPI");
}

TEST_F(DriversTest, AreListedFromSysWhereProcLacks) {
  Install("e1000e.ko");
  Index();
  tree.Write("/sys/module/e1000e/initstate", "live\n")
      .Write("/sys/module/kernel/parameters/panic", "0\n");
  const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
  ASSERT_EQ(drivers.size(), 1U);
  EXPECT_EQ(drivers[0]["Name"], "e1000e");
  EXPECT_EQ(drivers[0]["CurrentState"], "4");
}

TEST_F(DriversTest, WithoutAFileKeepTheRunningVersionAndAreNoted) {
  tree.Write("/proc/modules", "gone 1 0 - Live 0x0\nlost 1 0 - Unloading 0x0\n")
      .Write("/sys/module/gone/version", "1.2\n");
  const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
  ASSERT_EQ(drivers.size(), 2U);
  EXPECT_EQ(drivers[0]["Path"], "(none)");
  EXPECT_EQ(drivers[0]["Version"], "1.2");
  EXPECT_EQ(drivers[1]["Version"], "(none)") << "never the release of the kernel";
  EXPECT_EQ(drivers[1]["CurrentState"], "3");
  const std::string folder = "/lib/modules/" + std::string(kRelease);
  EXPECT_EQ(tree.Notes(folder),
            std::vector{folder + ": no file known of the loaded drivers: gone, lost"});
  tree.Write("/proc/modules", "gone 1 0 - Live 0x0\n");
  EXPECT_EQ(tree.Notes(folder), std::vector{folder + ": no file known of the loaded driver: gone"});
}

TEST_F(DriversTest, WhoseFileHasGoneSinceItWasListedKeepTheRunningVersionWithoutANote) {
  InstallBeside("", "");
  std::filesystem::remove(tree.Root() / "lib/modules" / kRelease / "e1000e.ko");
  tree.Write("/sys/module/e1000e/version", "1.2\n");
  const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
  ASSERT_EQ(drivers.size(), 2U);
  EXPECT_EQ(drivers[0]["Version"], "1.2");
  EXPECT_EQ(drivers[0]["Path"], "\\lib\\modules\\2.6.32-358.el6.x86_64\\e1000e.ko");
  EXPECT_EQ(tree.Notes("e1000e"), std::vector<std::string>());
}

TEST_F(DriversTest, ThatRunInAnOlderVersionThanInstalledAreNoted) {
  Install("e1000e.ko");
  Index();
  tree.Write("/proc/modules", "e1000e 1 0 - Live 0x0\n")
      .Write("/sys/module/e1000e/version", "1.0\n");
  EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "3.8.7-NAPI");
  EXPECT_EQ(tree.Notes("e1000e"),
            std::vector{"/lib/modules/" + std::string(kRelease) +
                        "/e1000e.ko: version 3.8.7-NAPI is installed, 1.0 is running until the "
                        "driver is loaded anew"});
  tree.Write("/sys/module/e1000e/version", "3.8.7-NAPI\n");
  EXPECT_EQ(tree.Notes("e1000e"), std::vector<std::string>());
}

TEST_F(DriversTest, WhoseFilesAreNoModulesGiveNoVersion) {
  Install("e1000e.ko");
  Index();
  tree.Write("/lib/modules/" + std::string(kRelease) + "/e1000e.ko", "no ELF file")
      .Write("/proc/modules", "e1000e 1 0 - Live 0x0\nshort\n\nfour 1 0 -\n");
  const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
  ASSERT_EQ(drivers.size(), 1U);
  EXPECT_EQ(drivers[0]["Version"], "(none)");
  EXPECT_EQ(tree.Notes("/e1000e.ko: no version can be read: it is no kernel module").size(), 1U);
}

TEST_F(DriversTest, AreReadAllTheSameWhereSignalsInterruptIt) {
  isWritingBounded = true;
  for (const TCompression& compression :
       {TCompression{"", ARCHIVE_FILTER_NONE}, kCompressions[0]}) {
    const std::string whole = FileBytes(DRIVER_FILE);
    InstallBeside(compression.ending, compression.filter == ARCHIVE_FILTER_NONE
                                          ? whole
                                          : Compressed(whole, compression.filter));
    const auto tell = [&](std::deque<int> reading, std::deque<int> writing) {
      endsOfReading = std::move(reading);
      endsOfWriting = std::move(writing);
      writings = 0;
      const Outcome outcome = tree.Collect();
      EXPECT_TRUE(endsOfReading.empty() && endsOfWriting.empty());
      endsOfReading.clear();
      endsOfWriting.clear();
      for (const std::string& note : outcome.notes)
        if (note.find("e1000e") != note.npos) return note;
      return std::string("read");
    };
    EXPECT_EQ(tell({EINTR, EINTR, 0, EINTR, 0, EINTR}, {}), "read") << compression.ending;
    EXPECT_EQ(tell({}, {EINTR, EINTR, 0, EINTR, 0}), "read") << compression.ending;
    const std::string note = "/lib/modules/" + std::string(kRelease) + "/e1000e.ko" +
                             compression.ending + ": no version can be read: ";
    EXPECT_EQ(tell({EIO}, {}), note + std::strerror(EIO));
    EXPECT_EQ(tell({0, EIO}, {}), note + std::strerror(EIO));
    EXPECT_EQ(tell({}, {ENOMEM}), note + std::strerror(ENOMEM));
    EXPECT_EQ(tell({}, {0, EFBIG}), note + std::strerror(EFBIG));
    EXPECT_EQ(tell({}, {0, kNothing}), note + std::strerror(ENOSPC));
  }
  isWritingBounded = false;
}

TEST_F(DriversTest, MayBeCompressed) {
  for (const TCompression& compression : kCompressions) {
    InstallBeside(compression.ending, Compressed(FileBytes(DRIVER_FILE), compression.filter));
    const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
    EXPECT_EQ(drivers.at(0)["Version"], "3.8.7-NAPI") << compression.ending;
  }
}

TEST_F(DriversTest, WithABrokenHeaderCostNothingButTheirVersion) {
  const std::string whole = FileBytes(DRIVER_FILE);
  for (const std::size_t at : {40, 41, 47, 58, 60, 61, 62, 63}) {
    for (const char byte : {'\0', '\xff'}) {
      std::string wrong = whole;
      wrong[at] = byte;
      if (wrong == whole) continue;
      InstallBeside("", wrong);
      EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(1)["Version"], "3.8.7-NAPI") << at;
      for (const TCompression& compression : kCompressions) {
        InstallBeside(compression.ending, Compressed(wrong, compression.filter));
        EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(1)["Version"], "3.8.7-NAPI") << at;
      }
    }
  }
}

TEST_F(DriversTest, ThatTellOfSectionsThatAreNotThereAreNoted) {
  std::string wrong = FileBytes(DRIVER_FILE);
  wrong.replace(62, 2, "\xff\xff");
  for (const TCompression& compression : kCompressions) {
    InstallBeside(compression.ending, Compressed(wrong, compression.filter));
    EXPECT_EQ(tree.Notes(std::string("e1000e.ko") + compression.ending +
                         ": no version can be read: its header tells of sections")
                  .size(),
              1U);
  }
}

// The numbers of the header stand where elf(5) has them for 64 bits.
TEST_F(DriversTest, AreReadWhereTheirSectionsJustLieInTheFileAndNotOneByteOrNumberLess) {
  const std::string whole = FileBytes(DRIVER_FILE);
  const auto number = [&](std::size_t at, std::size_t width) {
    std::size_t value = 0;
    for (std::size_t i = width; i-- > 0;)
      value = value * 256 + static_cast<unsigned char>(whole[at + i]);
    return value;
  };
  const auto with = [&](std::size_t at, std::size_t width, std::size_t value) {
    std::string changed = whole;
    for (std::size_t i = 0; i < width; ++i) changed[at + i] = static_cast<char>(value >> (8 * i));
    return changed;
  };
  const std::size_t table = number(40, 8);
  const std::size_t count = number(60, 2);
  const std::size_t names = number(62, 2);
  ASSERT_EQ(number(58, 2), 64U);
  ASSERT_EQ(table + count * 64, whole.size()) << "the table ends the file";
  ASSERT_LT(names, count);  // The last one of GCC, an earlier one of Clang.
  const std::string note = "e1000e.ko: no version can be read: its header tells of sections";
  struct TCase {
    const char* what;
    std::string bytes;
    bool isRead;
  };
  const TCase cases[] = {
      {"whole", whole, true},
      {"a byte more", whole + "x", true},
      {"a byte less", whole.substr(0, whole.size() - 1), false},
      {"the table a byte later", with(40, 8, table + 1), false},
      {"names in the section behind the last", with(62, 2, count), false},
      {"names in no section", with(62, 2, 0), false},
      {"a section less than the names' number", with(60, 2, names), false},
      {"a section more than there is room for", with(60, 2, count + 1), false},
      {"the table at the file's end", with(40, 8, whole.size()), false},
      {"the table behind the file", with(40, 8, whole.size() + 1), false},
      {"the table at 2^31", with(40, 8, std::size_t{1} << 31), false},
      {"the table at 2^32", with(40, 8, std::size_t{1} << 32), false},
      {"the table at 2^32 + k", with(40, 8, (std::size_t{1} << 32) + table), false},
      {"the table at 2^63", with(40, 8, std::size_t{1} << 63), false},
      {"the table before 2^64", with(40, 8, ~std::size_t{0} - count * 64 + 1), false}};
  for (const TCase& one : cases) {
    InstallBeside("", one.bytes);
    const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
    EXPECT_EQ(drivers.at(0)["Version"], one.isRead ? "3.8.7-NAPI" : "(none)") << one.what;
    EXPECT_EQ(tree.Notes(note).size(), one.isRead ? 0U : 1U) << one.what;
    EXPECT_EQ(drivers.at(1)["Version"], "3.8.7-NAPI") << one.what;
  }
}

// A module for 32 bits that states this: its header, two sections and the table of them.
std::string ModuleOf32Bits(const TTexts& texts) {
  std::string stated;
  for (const std::string& text : texts) stated += text + '\0';
  const std::string names("\0.modinfo\0.names", 17);
  Elf32_Ehdr header{};
  std::memcpy(header.e_ident, "\177ELF\1\1\1", 7);
  header.e_type = ET_REL;
  header.e_machine = EM_386;
  header.e_version = EV_CURRENT;
  header.e_ehsize = sizeof header;
  header.e_shoff = static_cast<Elf32_Off>(sizeof header + stated.size() + names.size());
  header.e_shentsize = sizeof(Elf32_Shdr);
  header.e_shnum = 3;
  header.e_shstrndx = 2;
  std::array<Elf32_Shdr, 3> table{};
  table[1].sh_name = 1;
  table[1].sh_type = SHT_PROGBITS;
  table[1].sh_offset = sizeof header;
  table[1].sh_size = static_cast<Elf32_Word>(stated.size());
  table[2].sh_name = 10;
  table[2].sh_type = SHT_STRTAB;
  table[2].sh_offset = static_cast<Elf32_Off>(sizeof header + stated.size());
  table[2].sh_size = static_cast<Elf32_Word>(names.size());
  const auto bytes = [](const auto& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
  };
  return bytes(header) + stated + names + bytes(table);
}

TEST_F(DriversTest, MayBeOf32Bits) {
  const std::string whole = ModuleOf32Bits({"license=GPL", "version=7.3.21-k8"});
  InstallBeside("", whole);
  EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "7.3.21-k8");
  EXPECT_TRUE(tree.Notes("e1000e").empty());
  InstallBeside("", whole.substr(0, whole.size() - 1));
  EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "(none)");
  EXPECT_EQ(tree.Notes("e1000e.ko: no version can be read: its header tells of sections").size(),
            1U);
}

TEST_F(DriversTest, OfTheKernelItselfGoByItsReleaseWhereTheyStateNoVersion) {
  const auto told = [&](const TTexts& stated) {
    InstallBeside("", ModuleOf32Bits(stated));
    const TReadInstance driver = tree.Instances("QRXSG_DeviceDriverInfo").at(0);
    return driver["Version"] + " of " + driver["SourceVersion"];
  };
  const std::string release = "vermagic=6.1.0-18-amd64 SMP mod_unload";
  EXPECT_EQ(told({"license=GPL", release, "intree=Y", "srcversion=AB", "author=Nobody"}),
            "6.1.0-18-amd64 of AB");
  EXPECT_EQ(told({"intree=Y", "vermagic=6.1.0", "vermagic=6.2.0"}), "6.1.0 of (none)");
  EXPECT_EQ(told({"intree=Y"}), "(none) of (none)");
  EXPECT_EQ(told({release, "intree=N"}), "(none) of (none)");
  EXPECT_EQ(told({release}), "(none) of (none)");
  EXPECT_EQ(told({release, "intree=Y", "version=2.1", "version=2.2", "srcversion=AB"}),
            "2.1 of AB");
  EXPECT_EQ(told({"version=2.1", "srcversion=AB", "srcversion=CD"}), "2.1 of AB");
}

// What a file lacks of its header is no number that it tells.
TEST_F(DriversTest, ThatEndWithinTheirHeaderAreNoted) {
  std::string head("\177ELF\2\1\1", 7);
  head.resize(62);
  head.replace(60, 2, "\xff\xff");  // How many sections; which has the names stood behind it.
  InstallBeside("", head);
  EXPECT_EQ(tree.Notes("e1000e.ko: no version can be read: its header tells of sections").size(),
            1U);
}

// A file that is mapped and then cut ends the process that looks at it.
TEST_F(DriversTest, MayBeCutWhileTheyAreRead) {
  std::string large = FileBytes(DRIVER_FILE);
  large += std::string(std::size_t{1} << 20U, 'x');
  InstallBeside("", large);
  const auto path = tree.Root() / "lib/modules" / kRelease / "e1000e.ko";
  std::atomic<bool> isDone{false};
  std::thread cutting([&] {
    const int file = ::open(path.c_str(), O_RDWR);
    while (!isDone) {
      EXPECT_EQ(::ftruncate(file, 0), 0);
      EXPECT_EQ(::pwrite(file, large.data(), large.size(), 0), static_cast<ssize_t>(large.size()));
    }
    ::close(file);
  });
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(1)["Version"], "3.8.7-NAPI");
  }
  isDone = true;
  cutting.join();
}

// Whoever maps a file opens it by its name first: libkmod is shown a copy, whatever the form.
TEST_F(DriversTest, AreOpenedOnce) {
  const auto folder = tree.Root() / "lib/modules" / kRelease;
  const auto opened = [&](const std::string& file) {
    const int watch = ::inotify_init1(IN_NONBLOCK);
    EXPECT_NE(::inotify_add_watch(watch, (folder / file).c_str(), IN_OPEN | IN_ACCESS), -1);
    EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "3.8.7-NAPI") << file;
    std::array<inotify_event, 256> events{};
    const ssize_t size = ::read(watch, events.data(), sizeof events);
    ::close(watch);
    const auto end = events.begin() + std::max<ssize_t>(size, 0) / ssize_t{sizeof(inotify_event)};
    return std::count_if(events.begin(), end,
                         [](const inotify_event& event) { return (event.mask & IN_OPEN) != 0; });
  };
  InstallBeside("", FileBytes(DRIVER_FILE));
  EXPECT_EQ(opened("e1000e.ko"), 1);
  for (const TCompression& compression : kCompressions) {
    InstallBeside(compression.ending, Compressed(FileBytes(DRIVER_FILE), compression.filter));
    EXPECT_EQ(opened(std::string("e1000e.ko") + compression.ending), 1);
  }
}

TEST_F(DriversTest, AreReadUpToALimit) {
  const std::string whole = FileBytes(DRIVER_FILE);
  InstallBeside("", whole);
  const auto path = tree.Root() / "lib/modules" / kRelease / "e1000e.ko";
  constexpr std::size_t kLimit = std::size_t{256} << 20U;
  std::filesystem::resize_file(path, kLimit);
  EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "3.8.7-NAPI");
  std::filesystem::resize_file(path, kLimit + 1);
  EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "(none)");
  EXPECT_EQ(tree.Notes("e1000e.ko: no version can be read: it is too large").size(), 1U);
}

TEST_F(DriversTest, WhoseCompressionBreaksOffOrHoldsNothingAreNoted) {
  for (const TCompression& compression : kCompressions) {
    const std::string whole = Compressed(FileBytes(DRIVER_FILE), compression.filter);
    for (const std::string& broken :
         {whole.substr(0, whole.size() / 2), Compressed("", compression.filter)}) {
      InstallBeside(compression.ending, broken);
      const TTexts notes = tree.Notes("no version can be read: it cannot be unpacked: ");
      ASSERT_EQ(notes.size(), 1U) << compression.ending;
      // The library's own words for what is wrong with the file, not with how it was asked.
      EXPECT_EQ(notes[0].find("INTERNAL"), std::string::npos) << notes[0];
    }
  }
}

TEST_F(DriversTest, AreUnpackedUpToALimit) {
  const std::string much(std::size_t{257} << 20U, '\0');
  InstallBeside(".zst", Compressed(much, ARCHIVE_FILTER_ZSTD));
  EXPECT_EQ(tree.Notes("it is too large when it is unpacked").size(), 1U);
}

TEST_F(DriversTest, AreFoundWhateverABinaryIndexSays) {
  Install("e1000e.ko");
  Index();
  const auto index = tree.Root() / "lib/modules" / kRelease / "modules.dep.bin";
  const std::string whole = FileBytes(index.string());
  ASSERT_FALSE(whole.empty());
  tree.Write("/proc/modules", "e1000e 1 0 - Live 0x0\n");
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string wrong = whole;
    wrong[at] = static_cast<char>(wrong[at] ^ 0x5F);
    for (const char* name : {"modules.dep.bin", "modules.builtin.bin", "modules.alias.bin"})
      tree.Write("/lib/modules/" + std::string(kRelease) + "/" + name, wrong);
    EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "3.8.7-NAPI") << at;
  }
}

TEST_F(DriversTest, AreFoundByPathsInFullAsOldSystemsListThem) {
  Install("kernel/e1000e.ko");
  const std::string folder = "/lib/modules/" + std::string(kRelease) + "/";
  tree.Write(folder + "modules.dep", folder + "kernel/e1000e.ko: " + folder + "kernel/other.ko\n")
      .Write("/proc/modules", "e1000e 1 0 - Live 0x0\n");
  const auto drivers = tree.Instances("QRXSG_DeviceDriverInfo");
  EXPECT_EQ(drivers.at(0)["Path"], "\\lib\\modules\\2.6.32-358.el6.x86_64\\kernel\\e1000e.ko");
  EXPECT_EQ(drivers.at(0)["Version"], "3.8.7-NAPI");
}

TEST_F(DriversTest, DoNotWaitForAPipeInPlaceOfAFile) {
  Install("e1000e.ko");
  Index();
  const auto folder = tree.Root() / "lib/modules" / kRelease;
  for (const char* name : {"e1000e.ko", "modules.dep"}) {
    std::filesystem::remove(folder / name);
    ASSERT_EQ(::mkfifo((folder / name).c_str(), 0600), 0);
    tree.Write("/proc/modules", "e1000e 1 0 - Live 0x0\n");
    EXPECT_EQ(tree.Instances("QRXSG_DeviceDriverInfo").at(0)["Version"], "(none)") << name;
  }
}

}  // namespace
}  // namespace svc::collect
