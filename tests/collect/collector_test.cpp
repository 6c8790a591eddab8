// The document as a whole, captures, and the tree below them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <stdexcept>

#include "collect/linux_collector.h"
#include "collect/load.h"
#include "collect/tree.h"
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
    notes = TLinuxCollector().Capture({tree.Root().string(), redact}, file);
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
}

TEST_F(CaptureTest, HoldsNoSerialNumberWhenRedacted) {
  const std::string file = Capture(true);
  EXPECT_NE(Shell("grep -q -a KQ12345 '" + file + "'"), 0);
  EXPECT_EQ(unpacked.Collect(true).document, tree.Collect(true).document);
}

TEST_F(CaptureTest, ThatCannotBeWrittenIsAClearErrorAndLeavesNothing) {
  const std::string folder = (output.Root() / "full").string();
  fs::create_directories(folder + "/capture.tar/x");
  EXPECT_THROW(TLinuxCollector().Capture({tree.Root().string(), false}, folder + "/capture.tar"),
               std::runtime_error);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
  EXPECT_THROW(TLinuxCollector().Capture({tree.Root().string(), false}, "/nonexistent/a.tar"),
               std::runtime_error);
}

TEST(Tree, KeepsLinksBelowItsRoot) {
  TMadeTree made;
  made.Write("/usr/lib/os-release", "inside\n")
      .Link("/etc/os-release", "/usr/lib/os-release")
      .Link("/etc/up", "../../../../../../usr/lib/os-release")
      .Link("/etc/loop", "loop");
  const TTree tree(made.Root().string());
  EXPECT_FALSE(tree.IsLive());
  EXPECT_EQ(tree.ReadLine("/etc/os-release"), "inside");
  EXPECT_EQ(tree.ReadLine("/etc/up"), "inside");
  EXPECT_EQ(tree.ReadLine("/etc/loop"), "");
  EXPECT_EQ(tree.ReadFiles(), (std::set<std::string>{"/etc/os-release", "/etc/up"}));
}

TEST(Tree, DoesNotWaitForAPipeOrReadAFolder) {
  TMadeTree made;
  made.Write("/etc/folder/file", "");
  ASSERT_EQ(::mkfifo((made.Root() / "etc/redhat-release").c_str(), 0600), 0);
  const TTree tree(made.Root().string());
  EXPECT_EQ(tree.ReadLine("/etc/redhat-release"), "");
  EXPECT_EQ(tree.Read("/etc/folder").error, EISDIR);
}

TEST(Tree, OfTheRunningSystemIsLive) { EXPECT_TRUE(TTree("/").IsLive()); }

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

}  // namespace
}  // namespace svc::collect
