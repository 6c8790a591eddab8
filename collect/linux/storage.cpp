// Controllers of disks and the disks. Of a MegaRAID SAS controller what it says itself, asked
// through its driver, else the SMBIOS firmware inventory.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <unistd.h>

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "collect/firmware_device.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {
namespace {

constexpr const char* kClass = "QRXSG_MegaLSIFWPackageBuildFirmwareElement";

// The number at the end of "host3".
std::optional<unsigned> HostNumber(std::string_view name) {
  constexpr std::string_view kPrefix = "host";
  unsigned number = 0;
  if (!name.starts_with(kPrefix)) return {};
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + kPrefix.size(), end, number);
  if (error != std::errc() || stop != end) return {};
  return number;
}

void Add(const std::string& product, const std::string& version, TInventory& inventory) {
  inventory.Add(
      TInstance(kClass).Set("Name", product).Set("Description", product).Set("Version", version));
}

void AddAsked(const TMachine& machine, const std::string& name, TInventory& inventory) {
  const std::optional<unsigned> number = HostNumber(name);
  if (!number) return;
  std::string problem = "its firmware is told by the running controller only";
  if (machine.tree.IsLive()) {
    const auto controller = AskRaidController(machine.tree, *number, problem);
    if (controller && !controller->package.empty()) {
      Add(controller->product, controller->package, inventory);
      return;
    }
    if (controller) problem = "the controller tells no package version";
  }
  inventory.Note(fmt::format("{}/{}: MegaRAID controller: {}", kScsiHosts, name, problem));
}

void AddTold(const TMachine& machine, TInventory& inventory) {
  for (const TFirmwareComponent& component : machine.smbios.FirmwareComponents()) {
    const std::string name = Lowered(component.name);
    if (!Contains(name, "raid") && !Contains(name, "arrayon")) continue;
    Add(component.name, component.version, inventory);
  }
}

// The control device of the driver megaraid_sas, which passes one firmware command to a controller.
// Its interface is not among the kernel's exported headers; the layouts here are those of Linux,
// drivers/scsi/megaraid/megaraid_sas.h (megasas_iocpacket, megasas_dcmd_frame).
constexpr const char* kNode = "/dev/megaraid_sas_ioctl_node";
constexpr std::size_t kControllerInfoSize = 2048;

struct [[gnu::packed]] TControlFrame {
  std::uint8_t command;
  std::uint8_t reserved0;
  std::uint8_t commandStatus;
  std::uint8_t reserved1[4];
  std::uint8_t sgeCount;
  std::uint32_t context;
  std::uint32_t pad;
  std::uint16_t flags;
  std::uint16_t timeout;
  std::uint32_t transferLength;
  std::uint32_t opcode;
  std::uint8_t mailbox[12];
  std::uint8_t scatterGatherList[8];
};
static_assert(offsetof(TControlFrame, opcode) == 0x18);
static_assert(offsetof(TControlFrame, scatterGatherList) == 0x28);

struct [[gnu::packed]] TIoctlPacket {
  std::uint16_t host;
  std::uint16_t pad;
  std::uint32_t sglOffset;
  std::uint32_t sgeCount;
  std::uint32_t senseOffset;
  std::uint32_t senseLength;
  union {
    std::uint8_t raw[128];
    TControlFrame control;
  } frame;
  iovec buffers[16];
};
static_assert(offsetof(TIoctlPacket, buffers) == 20 + 128);

constexpr unsigned long kPassCommand = _IOWR('M', 1, TIoctlPacket);
constexpr std::uint8_t kDirectCommand = 0x05;      // MFI_CMD_DCMD
constexpr std::uint8_t kStatusOk = 0x00;           // MFI_STAT_OK
constexpr std::uint8_t kStatusUnset = 0xFF;        // MFI_STAT_INVALID_STATUS
constexpr std::uint16_t kFromController = 0x0010;  // MFI_FRAME_DIR_READ
constexpr std::uint32_t kGetInfo = 0x01010000;     // MR_DCMD_CTRL_GET_INFO

// The number under which the driver registered its control device; 0 when it did not.
unsigned MajorNumber(const TTree& tree) {
  const TRead file = tree.Read("/proc/devices");
  for (const std::string_view line : Lines(file.bytes)) {
    const std::vector<std::string> words = Words(line);
    if (words.size() == 2 && words[1] == "megaraid_sas_ioctl") {
      return static_cast<unsigned>(std::strtoul(words[0].c_str(), nullptr, 10));
    }
  }
  return 0;
}

// A folder below /dev that nobody else knows or can write to. Leaves errno as it is at its end.
class TOwnFolder {
 public:
  ~TOwnFolder() {
    const int error = errno;
    if (made != nullptr) ::rmdir(made);
    errno = error;
  }
  TOwnFolder(const TOwnFolder&) = delete;
  TOwnFolder& operator=(const TOwnFolder&) = delete;
  TOwnFolder() = default;

  // Null where it could not be made; errno says why.
  const char* Path() const { return made; }

 private:
  char path[32] = "/dev/.svcheck-XXXXXX";
  const char* made = ::mkdtemp(path);
};

// Nothing makes the device's node but the maker's own tools, so where they are not installed a
// node of a moment serves.
TDescriptor OpenThroughOwnNode(unsigned major) {
  const TOwnFolder folder;
  if (folder.Path() == nullptr) return TDescriptor();
  const std::string node = std::string(folder.Path()) + "/node";
  if (::mknod(node.c_str(), S_IFCHR | 0600, ::makedev(major, 0)) != 0) return TDescriptor();
  TDescriptor device(::open(node.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  const int error = errno;
  ::unlink(node.c_str());
  errno = error;
  return device;
}

TDescriptor OpenControl(const TTree& tree) {
  TDescriptor device(::open(kNode, O_RDWR | O_CLOEXEC));
  if (device || errno != ENOENT) return device;
  if (const unsigned major = MajorNumber(tree)) return OpenThroughOwnNode(major);
  errno = ENODEV;
  return device;
}

TIoctlPacket InfoRequest(unsigned host, char* answer) {
  TIoctlPacket packet{};
  packet.host = static_cast<std::uint16_t>(host);
  packet.sglOffset = offsetof(TControlFrame, scatterGatherList);
  packet.sgeCount = 1;
  packet.frame.control.command = kDirectCommand;
  packet.frame.control.commandStatus = kStatusUnset;
  packet.frame.control.sgeCount = 1;
  packet.frame.control.flags = kFromController;
  packet.frame.control.transferLength = kControllerInfoSize;
  packet.frame.control.opcode = kGetInfo;
  packet.buffers[0] = {answer, kControllerInfoSize};
  return packet;
}

}  // namespace

std::optional<TRaidController> ParseControllerInfo(std::string_view info) {
  constexpr std::size_t kProductName = 0x540, kProductNameSize = 80;
  constexpr std::size_t kPackageVersion = 0x640, kPackageVersionSize = 0x60;
  if (info.size() < kPackageVersion + kPackageVersionSize) return {};
  return TRaidController{CleanText(info.substr(kProductName, kProductNameSize)),
                         CleanText(info.substr(kPackageVersion, kPackageVersionSize))};
}

void ReadMegaRaid(const TMachine& machine, TInventory& inventory) {
  for (const std::string& name : machine.tree.List(kScsiHosts)) {
    const std::string driver =
        machine.tree.ReadLine(std::string(kScsiHosts) + "/" + name + "/proc_name");
    if (driver == "megaraid_sas") AddAsked(machine, name, inventory);
  }
  if (!inventory.Holds(kClass)) AddTold(machine, inventory);
}

// LSI SAS controllers of the Fusion-MPT family: the host attributes of the drivers mptsas, mpt2sas
// and mpt3sas (Linux, drivers/message/fusion/mptscsih.c and drivers/scsi/mpt3sas/mpt3sas_ctl.c).

static bool IsMptDriver(std::string_view name) {
  constexpr std::array<std::string_view, 3> kDrivers = {"mptsas", "mpt2sas", "mpt3sas"};
  for (const std::string_view driver : kDrivers) {
    if (name == driver) return true;
  }
  return false;
}

// A controller without a BIOS tells version 0 of it.
static bool IsVersion(std::string_view text) {
  return text.find_first_not_of("0.") != std::string_view::npos;
}

static void AddElement(const TTree& tree, const std::string& host, const char* kind,
                       const char* className, const std::string& attribute, TInventory& inventory) {
  const std::string version = tree.ReadLine(host + "/" + attribute);
  if (!IsVersion(version)) {
    inventory.Note(host + "/" + attribute + ": the controller tells no version; left out");
    return;
  }
  const std::string product = tree.ReadLine(host + "/version_product");
  const std::string board = tree.ReadLine(host + "/board_name");
  inventory.Add(TInstance(className)
                    .Set("Name", (board.empty() ? product : board) + kind)
                    .Set("ProductID", product)
                    .Set("Version", version));
}

void ReadMpt(const TMachine& machine, TInventory& inventory) {
  for (const std::string& name : machine.tree.List(kScsiHosts)) {
    const std::string host = std::string(kScsiHosts) + "/" + name;
    if (!IsMptDriver(machine.tree.ReadLine(host + "/proc_name"))) continue;
    AddElement(machine.tree, host, " Firmware", "QRXSG_LSIFirmwareElement", "version_fw",
               inventory);
    AddElement(machine.tree, host, " BIOS", "QRXSG_LSIBIOSElement", "version_bios", inventory);
  }
}

// Disks of any kind: NVMe controllers (Linux, drivers/nvme/host/sysfs.c and Documentation/ABI/
// testing/sysfs-bus-pci), and disks that speak SCSI, or ATA behind it (Documentation/ABI/testing/
// sysfs-block-device, Documentation/scsi/; drivers/scsi/scsi_sysfs.c).

namespace {

constexpr const char* kNvme = "/sys/class/nvme";
constexpr const char* kScsiDisks = "/sys/class/scsi_disk";

// A text of the IDENTIFY DEVICE data (ATA, ACS-4, 7.13.6): two letters a word, the second one
// first.
std::string AtaText(std::string_view identity, std::size_t word, std::size_t words) {
  std::string text;
  for (std::size_t at = 2 * word; at < 2 * (word + words) && at + 1 < identity.size(); at += 2) {
    text += identity[at + 1];
    text += identity[at];
  }
  return CleanText(text);
}

struct TAtaIdentity {
  std::string model;
  std::string revision;
};

// From the page "ATA Information" (SAT-4, 12.4.2): INQUIRY cuts the model to 16 letters and the
// revision to 4.
TAtaIdentity AtaIdentity(const TTree& tree, const std::string& device) {
  constexpr std::size_t kIdentity = 60;
  const TRead page = tree.Read(device + "/vpd_pg89");
  if (page.bytes.size() < kIdentity + 512 || page.bytes[1] != '\x89') return {};
  const std::string_view identity = std::string_view(page.bytes).substr(kIdentity);
  return {AtaText(identity, 27, 20), AtaText(identity, 23, 4)};
}

void AddScsiDisk(const TTree& tree, const std::string& device, TInventory& inventory) {
  const std::string vendor = tree.ReadLine(device + "/vendor");
  const std::string model = tree.ReadLine(device + "/model");
  const std::string revision = tree.ReadLine(device + "/rev");
  if (vendor == kAtaVendor) {
    if (const TAtaIdentity identity = AtaIdentity(tree, device); !identity.model.empty())
      return AddDevice(AtaDisk(identity.model, identity.revision), inventory);
  }
  if (!revision.empty()) AddDevice(ScsiDisk(vendor, model, revision), inventory);
}

}  // namespace

TPciNumbers ReadPciNumbers(const TTree& tree, const std::string& device) {
  return {tree.ReadLine(device + "/vendor"), tree.ReadLine(device + "/device"),
          tree.ReadLine(device + "/subsystem_vendor"), tree.ReadLine(device + "/subsystem_device")};
}

void ReadDisks(const TMachine& machine, TInventory& inventory) {
  const TTree& tree = machine.tree;
  for (const std::string& name : tree.List(kNvme)) {
    const std::string controller = std::string(kNvme) + "/" + name;
    const std::string revision = tree.ReadLine(controller + "/firmware_rev");
    if (revision.empty()) continue;
    AddDevice(NvmeDisk(tree.ReadLine(controller + "/model"), revision,
                       ReadPciNumbers(tree, controller + "/device")),
              inventory);
  }
  for (const std::string& name : tree.List(kScsiDisks))
    AddScsiDisk(tree, std::string(kScsiDisks) + "/" + name + "/device", inventory);
}

std::optional<TRaidController> AskRaidController(const TTree& tree, unsigned host,
                                                 std::string& problem) {
  const TDescriptor device = OpenControl(tree);
  if (!device) {
    problem = "its control device cannot be opened: " + WhyNot(errno);
    return {};
  }
  std::array<char, kControllerInfoSize> answer{};
  TIoctlPacket packet = InfoRequest(host, answer.data());
  if (::ioctl(device.Get(), kPassCommand, &packet) != 0) {
    problem = "the request was refused: " + WhyNot(errno);
    return {};
  }
  if (packet.frame.control.commandStatus != kStatusOk) {
    problem =
        "the controller answers with status " + std::to_string(packet.frame.control.commandStatus);
    return {};
  }
  return ParseControllerInfo({answer.data(), answer.size()});
}

}  // namespace svc::collect
