// The control device of the driver megaraid_sas, which passes one firmware command to a controller.
// Its interface is not among the kernel's exported headers; the layouts here are those of Linux,
// drivers/scsi/megaraid/megaraid_sas.h (megasas_iocpacket, megasas_dcmd_frame).
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "collect/linux/linux_collector.h"

namespace svc::collect {
namespace {

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
