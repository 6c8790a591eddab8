// What the running system's devices are asked, and what becomes of their answers.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>

#include "collect/linux/linux_collector.h"
#include "made_tree.h"
#include "scripted_devices.h"

namespace svc::collect {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

using TSource = void (*)(const TMachine&, TInventory&);

const std::string kNetworkDevice = "/sys/bus/pci/devices/0000:01:00.0/";
const std::string kRaidNode = "/dev/megaraid_sas_ioctl_node";

// One source on a tree that is the running system.
class Devices : public ::testing::Test {
 protected:
  void TearDown() override { EndScript(); }

  // Its notes, and its instances as "name=value" of each property.
  std::string Tell(const TScript& script) {
    SetScript(script);
    const auto told = tree.AsRunning([this] {
      const TTree system("/");
      const TMachine machine{system, {}, false};
      TInventory inventory;
      source(machine, inventory);
      std::string text;
      for (const std::string& note : inventory.Notes()) text += "note: " + note + "\n";
      for (const TReadInstance& one : ReadDocument(ToCimXml(inventory.Instances())))
        for (const auto& [name, value] : one.properties) text += name + "=" + value + "\n";
      return text;
    });
    isAllowed = told.has_value();
    return told.value_or("");
  }
  bool IsAllowed() {
    Tell({});
    return isAllowed;
  }

  TMadeTree tree;
  TSource source = ReadManagementControllers;
  bool isAllowed = false;
};

#define SKIP_WITHOUT_A_ROOT() \
  if (!IsAllowed()) GTEST_SKIP() << "a process may not have a root of its own here"

const std::string kDeviceId = "\0\x20\x81\x01\x23\x02\xBF\xD0\0\0\x2A\0"s;

TEST_F(Devices, AManagementControllerTellsItsRevision) {
  SKIP_WITHOUT_A_ROOT();
  tree.Write("/dev/ipmi0", "");
  TScript script;
  script.deviceId = kDeviceId + "\x0A\x00\x00\x01"s;
  EXPECT_EQ(Tell(script),
            "Name=Baseboard Management Controller\nVersion=1.23\nBuildNumber=0a000001\n"
            "Name=Baseboard Management Controller\nVersion=1.23\n");
  script.deviceId = kDeviceId;
  EXPECT_EQ(Tell(script), "Name=Baseboard Management Controller\nVersion=1.23\n");
}

TEST_F(Devices, AManagementControllerThatTellsNothingIsNotedWithTheCause) {
  SKIP_WITHOUT_A_ROOT();
  const auto note = [](const std::string& cause) {
    return "note: /dev/ipmi0: " + cause + "; the management controller is left out\n";
  };
  EXPECT_EQ(Tell({}), "") << "there is none";
  tree.Write("/dev/ipmi0", "");
  TScript script;
  script.deviceId = "\xC1"s + kDeviceId.substr(1);
  EXPECT_EQ(Tell(script), note("the controller refused to tell its revision"));
  script = {};
  script.deviceId = kDeviceId;
  script.errorOfSending = EIO;
  EXPECT_EQ(Tell(script), note("the request was refused: Input/output error"));
  script = {};
  script.deviceId = kDeviceId;
  script.isSilent = true;
  EXPECT_EQ(Tell(script), note("no answer within 3 seconds"));
  script = {};
  script.deviceId = kDeviceId;
  script.errorOfReceiving = EMSGSIZE;
  EXPECT_EQ(Tell(script), note("the answer cannot be read: Message too long"));
}

TEST_F(Devices, TheKernelTellsThePlatformWhereNoFileDoes) {
  SKIP_WITHOUT_A_ROOT();
  utsname names{};
  ASSERT_EQ(::uname(&names), 0);
  source = ReadOperatingSystem;
  const std::string note = "note: /etc/os-release: no name of the operating system\n";
  EXPECT_EQ(Tell({}), note + "HardwarePlatform=" + names.machine + "\nOSType=36\n");
  tree.Write("/proc/sys/kernel/arch", "of the file\n");
  EXPECT_EQ(Tell({}), note + "HardwarePlatform=of the file\nOSType=36\n");
}

// Of the command, which is written over, and the answer behind it.
TEST_F(Devices, ATrustedModuleIsAskedThroughItsDevice) {
  SKIP_WITHOUT_A_ROOT();
  source = ReadTpms;
  const std::string note = "note: /sys/class/tpm/tpm0: ";
  const std::string command = "\x80\x01\0\0\0\x16\0\0\x01\x7A\0\0\0\x06\0\0\x01\x05\0\0\0\x08"s;
  tree.Write("/sys/class/tpm/tpm0/tpm_version_major", "2\n");
  EXPECT_EQ(Tell({}), note + "No such file or directory; left out\n");
  tree.Write("/dev/tpmrm0", "");
  EXPECT_EQ(Tell({}), note + "it tells no firmware version; left out\n");
  tree.Write("/dev/tpmrm0", std::string(command.size(), 'x') +
                                "\x80\x01\0\0\0\x2B\0\0\0\0\0\0\0\0\x06\0\0\0\x03"s +
                                "\0\0\x01\x05INTC"s + "\0\0\x01\x0B\x01\x38\0\x01"s +
                                "\0\0\x01\x0C\0\x16\0\0"s);
  EXPECT_EQ(Tell({}),
            "Identifiers=TPM\\VEN_INTC&DEV_0000&VER_2.0 | TPM\\VEN_INTC&DEV_0000\n"
            "Name=TPM 2.0\nSource=tpm\nVendor=INTC\nVersion=312.1.22.0\n");
  EXPECT_EQ(TTree(tree.Root().string()).Read("/dev/tpmrm0").bytes.substr(0, command.size()),
            command);
}

class NetworkDevices : public Devices {
 protected:
  NetworkDevices() {
    source = ReadBroadcom;
    tree.Write(kNetworkDevice + "vendor", "0x14e4\n")
        .Write(kNetworkDevice + "class", "0x020000\n")
        .Write(kNetworkDevice + "device", "0x1657\n")
        .Write(kNetworkDevice + "net/eth0/mtu", "1500\n");
  }
  static std::string Element(const std::string& version, const std::string& name = "eth0") {
    return "Name=" + name + "\nSoftwareElementID=14e41657\nVersion=" + version + "\n";
  }
  static std::string Note(const std::string& cause) {
    return "note: /sys/bus/pci/devices/0000:01:00.0: Broadcom network device: " + cause +
           "; left out\n";
  }
};

TEST_F(NetworkDevices, HaveTheVersionThatTheirDriverTellsOfTheWholeElseOfAPart) {
  SKIP_WITHOUT_A_ROOT();
  TScript script;
  script.ethtool = "5719-v1.46";
  script.running = {{"fw.app", "3"}, {"fw.psid", "4"}, {"fw.mgmt", "2"}, {"fw", "1"}};
  EXPECT_EQ(Tell(script), Element("1"));
  script.running.pop_back();
  EXPECT_EQ(Tell(script), Element("2"));
  script.running.pop_back();
  EXPECT_EQ(Tell(script), Element("3"));
  script.running = {{"fw.psid", "4"}};
  EXPECT_EQ(Tell(script), Element("5719-v1.46")) << "by the older interface";
  script.running = {{"fw", "1"}};
  script.hasDevlink = false;
  EXPECT_EQ(Tell(script), Element("5719-v1.46"));
}

TEST_F(NetworkDevices, OfOtherMakersAreFirmwareOfAnyKind) {
  SKIP_WITHOUT_A_ROOT();
  TScript script;
  script.ethtool = "1";
  script.running = {{"fw", "1"}};
  source = ReadNetworkDevices;
  EXPECT_EQ(Tell(script), "") << "Broadcom's have a class of their own";
  for (const std::string port : {"0000:01:00.0/", "0000:01:00.1/"}) {
    tree.Write("/sys/bus/pci/devices/" + port + "vendor", "0x8086\n")
        .Write("/sys/bus/pci/devices/" + port + "device", "0x1572\n")
        .Write("/sys/bus/pci/devices/" + port + "subsystem_vendor", "0x8086\n")
        .Write("/sys/bus/pci/devices/" + port + "subsystem_device", "0x0002\n")
        .Write("/sys/bus/pci/devices/" + port + "class", "0x020000\n")
        .Write("/sys/bus/pci/devices/" + port + "net/eth0/mtu", "1500\n");
  }
  const auto device = [](const std::string& version, const std::string& told) {
    return "Identifiers=PCI\\VEN_8086&DEV_1572&SUBSYS_80860002 | PCI\\VEN_8086&DEV_1572\n"
           "Name=eth0\nSource=" +
           told + "\nVersion=" + version + "\n";
  };
  EXPECT_EQ(Tell(script), device("1", "devlink")) << "both ports run one firmware";
  script.running = {};
  script.ethtool = "9.20 0x8000d95e";
  EXPECT_EQ(Tell(script), device("9.20 0x8000d95e", "ethtool"));
  for (const char* file : {"vendor", "device", "subsystem_vendor", "subsystem_device", "class"}) {
    const std::string folder = "/sys/bus/pci/devices/";
    tree.Write(folder + "1000:01:00.0/" + file,
               TTree(tree.Root().string()).Read(folder + "0000:01:00.0/" + file).bytes);
  }
  tree.Write("/sys/bus/pci/devices/1000:01:00.0/net/eth0/mtu", "1500\n");
  EXPECT_EQ(Tell(script),
            device("9.20 0x8000d95e", "ethtool") + device("9.20 0x8000d95e", "ethtool"))
      << "an adapter at the same place of another domain";
  fs::remove_all(tree.Root() / "sys/bus/pci/devices/1000:01:00.0");
  script.ethtool = "";
  EXPECT_EQ(Tell(script), "") << "a driver without firmware lacks nothing";
  source = ReadBroadcom;
  EXPECT_EQ(Tell(script), "") << "they are not Broadcom's";
}

TEST_F(NetworkDevices, AreAskedNoLongerThanTheKernelAnswers) {
  SKIP_WITHOUT_A_ROOT();
  TScript script;
  script.ethtool = "5719-v1.46";
  script.running = {{"fw", "too late"}};
  for (const int end : {0, -1}) {
    script.end = end;
    EXPECT_EQ(Tell(script), Element("5719-v1.46")) << end;
  }
}

TEST_F(NetworkDevices, WithoutAVersionAreNoted) {
  SKIP_WITHOUT_A_ROOT();
  TScript script;
  EXPECT_EQ(Tell(script), Note("its driver tells no firmware version"));
  script.ethtool = "N/A";
  EXPECT_EQ(Tell(script), Note("its driver tells no firmware version"));
  fs::remove_all(tree.Root() / kNetworkDevice.substr(1) / "net");
  script.ethtool = "5719-v1.46";
  EXPECT_EQ(Tell(script), Note("no driver is bound to it"));
  script.running = {{"fw", "1"}};
  EXPECT_EQ(Tell(script), Element("1", "0000:01:00.0"));
}

class RaidControllers : public Devices {
 protected:
  RaidControllers() {
    source = ReadMegaRaid;
    fs::create_directories(tree.Root() / "dev");
    tree.Write("/sys/class/scsi_host/host3/proc_name", "megaraid_sas\n");
    script.product = "QRX Arrayon-AX20i";
    script.package = "11.0.1-0036";
  }
  static std::string Note(const std::string& cause) {
    return "note: /sys/class/scsi_host/host3: MegaRAID controller: " + cause + "\n";
  }

  TScript script;
  const std::string element =
      "Description=QRX Arrayon-AX20i\nName=QRX Arrayon-AX20i\nVersion=11.0.1-0036\n";
};

TEST_F(RaidControllers, TellTheirPackage) {
  SKIP_WITHOUT_A_ROOT();
  tree.Write(kRaidNode, "");
  EXPECT_EQ(Tell(script), element);
  script.package = "";
  EXPECT_EQ(Tell(script), Note("the controller tells no package version"));
}

TEST_F(RaidControllers, ThatTellNothingAreNotedWithTheCause) {
  SKIP_WITHOUT_A_ROOT();
  EXPECT_EQ(Tell(script), Note("its control device cannot be opened: No such device"));
  fs::remove(tree.Root() / "dev");
  tree.Write("/proc/devices", "Character devices:\n243 megaraid_sas_ioctl\n");
  EXPECT_EQ(Tell(script), Note("its control device cannot be opened: No such file or directory"));
  tree.Write(kRaidNode, "");
  script.statusOfRaid = 12;
  EXPECT_EQ(Tell(script), Note("the controller answers with status 12"));
  script.errorOfRaid = EACCES;
  EXPECT_EQ(Tell(script), Note("the request was refused: Permission denied (root can read it)"));
}

TEST_F(RaidControllers, AreAskedThroughANodeOfAMomentWhereTheirsIsMissing) {
  SKIP_WITHOUT_A_ROOT();
  tree.Write("/proc/devices", "Character devices:\n  1 mem\n243 megaraid_sas_ioctl\n");
  script.major = 243;
  EXPECT_EQ(Tell(script), element);
  EXPECT_TRUE(fs::is_empty(tree.Root() / "dev"));
  script.isNodeOpen = false;
  EXPECT_EQ(Tell(script),
            Note("its control device cannot be opened: Too many levels of symbolic links"));
  EXPECT_TRUE(fs::is_empty(tree.Root() / "dev"));
  script.major = 242;
  EXPECT_EQ(Tell(script), Note("its control device cannot be opened: Operation not permitted "
                               "(root can read it)"));
  EXPECT_TRUE(fs::is_empty(tree.Root() / "dev"));
}

TEST_F(RaidControllers, AreAskedThroughTheirOwnNodeWhereverThereIsOne) {
  SKIP_WITHOUT_A_ROOT();
  tree.Write("/proc/devices", "Character devices:\n  1 mem\n243 megaraid_sas_ioctl\n");
  tree.Write(kRaidNode, "");
  script.major = 242;  // Another node could not be made.
  EXPECT_EQ(Tell(script), element);
  fs::remove(tree.Root() / kRaidNode.substr(1));
  tree.Link(kRaidNode, "megaraid_sas_ioctl_node");
  script.major = 243;  // It could be, but what keeps others from the one that is there is meant.
  EXPECT_EQ(Tell(script),
            Note("its control device cannot be opened: Too many levels of symbolic links"));
}

int OpenFiles() {
  int count = 0;
  for (int file = 0; file < 1024; ++file) count += ::fcntl(file, F_GETFD) == -1 ? 0 : 1;
  return count;
}

TEST_F(Devices, AreTriedAndLetGoOf) {
  SKIP_WITHOUT_A_ROOT();
  utsname names{};
  ASSERT_EQ(::uname(&names), 0);
  const auto tried = [this](uid_t user) {
    return tree.AsRunning([user] {
      const bool isOther = user == 0 || ::setuid(user) == 0;
      const int before = OpenFiles();
      std::string text;
      for (const SourceState& state : TLinuxCollector().TrySources())
        text += state.subject + ": " + state.problem + ": " + state.advice + "\n";
      return isOther ? text + std::to_string(OpenFiles() - before) : "";
    });
  };
  const std::string missing = "No such file or directory: ";
  EXPECT_EQ(
      tried(0),
      "firmware tables: " + missing +
          "this machine's firmware tells nothing of itself: versions of BIOS and UEFI are left "
          "out\nmanagement controller: " +
          missing +
          "where the machine has one, load its driver: modprobe ipmi_si ipmi_devintf\n"
          "running modules: " +
          missing + "mount /proc\nmodule files: " + missing +
          "install the running kernel's modules, or run depmod: versions of drivers are left "
          "out\n0");
  fs::create_directories(tree.Root() / "proc/self");
  EXPECT_NE(tried(0)->find("running modules: " + missing +
                           "this kernel loads no modules, all drivers are part of it: drivers are "
                           "left out\n"),
            std::string::npos);
  const std::string list = "/lib/modules/"s + names.release + "/modules.dep";
  const std::string files[] = {kSmbiosTable, "/dev/ipmi0", "/proc/modules", list};
  for (const std::string& file : files) tree.Write(file, "");
  EXPECT_EQ(tried(0),
            "firmware tables: : \nmanagement controller: : \nrunning modules: : \n"
            "module files: : \n0");
  fs::permissions(tree.Root(), fs::perms(0755));
  for (const std::string& file : files)
    fs::permissions(tree.Root() / file.substr(1), fs::perms::none);
  constexpr uid_t kNobody = 65534;
  if (tried(kNobody) == "") GTEST_SKIP() << "a process may not become another user's here";
  const std::string forbidden = "Permission denied: run svcheck as root: ";
  EXPECT_EQ(tried(kNobody), "firmware tables: " + forbidden +
                                "serial number and diagnostics are left out\n"
                                "management controller: " +
                                forbidden + "the controller's firmware is left out\n" +
                                "running modules: " + forbidden + "drivers are left out\n" +
                                "module files: " + forbidden +
                                "versions of drivers are left out\n0");
}

}  // namespace
}  // namespace svc::collect
