#include "scripted_devices.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/devlink.h>
#include <linux/ethtool.h>
#include <linux/genetlink.h>
#include <linux/ipmi.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>

namespace svc::collect {
namespace {

constexpr int kSocket = 1000;  // A number that no open file of a test has.
constexpr unsigned kPort = 7;
constexpr std::uint16_t kFamily = 21;
constexpr long kLongestSilence = 2;

TScript script;
bool isScripted = false;
bool isSilenceBounded = false;
std::deque<std::string> answers;

int FailWith(int error) {
  errno = error;
  return -1;
}

int OkUnless(int error) { return error == 0 ? 0 : FailWith(error); }

int SendToController(const ipmi_req& request) {
  ipmi_system_interface_addr address{};
  if (request.addr_len != sizeof address) return FailWith(EINVAL);
  std::memcpy(&address, request.addr, sizeof address);
  const bool isKnown = address.addr_type == IPMI_SYSTEM_INTERFACE_ADDR_TYPE &&
                       address.channel == IPMI_BMC_CHANNEL && request.msg.netfn == 6 &&
                       request.msg.cmd == 1 && request.msg.data_len == 0;
  return isKnown ? OkUnless(script.errorOfSending) : FailWith(EINVAL);
}

int ReceiveFromController(ipmi_recv& message) {
  if (script.errorOfReceiving != 0) return FailWith(script.errorOfReceiving);
  if (message.addr_len < sizeof(ipmi_addr)) return FailWith(EINVAL);
  if (script.deviceId.size() > message.msg.data_len) return FailWith(EMSGSIZE);
  script.deviceId.copy(reinterpret_cast<char*>(message.msg.data), message.msg.data_len);
  message.msg.data_len = static_cast<unsigned short>(script.deviceId.size());
  return 0;
}

int TellDriver(const ifreq& request) {
  ethtool_drvinfo info{};
  std::memcpy(&info, request.ifr_data, sizeof info);
  if (info.cmd != ETHTOOL_GDRVINFO) return FailWith(EOPNOTSUPP);
  if (std::string_view(request.ifr_name) != "eth0") return FailWith(ENODEV);
  script.ethtool.copy(info.fw_version, sizeof info.fw_version);
  std::memcpy(request.ifr_data, &info, sizeof info);
  return 0;
}

template <typename T>
T At(const char* bytes, std::size_t place) {
  T value;
  std::memcpy(&value, bytes + place, sizeof value);
  return value;
}

// A struct megasas_iocpacket: host, place and number of the buffers, a frame from byte 20 on with
// its opcode, and the buffers from byte 148 on.
int AskRaid(char* packet) {
  constexpr std::size_t kFrame = 20, kBuffers = 148;
  const bool isKnown = At<std::uint16_t>(packet, 0) == 3 && At<std::uint32_t>(packet, 4) == 0x28 &&
                       At<std::uint32_t>(packet, 8) == 1 && packet[kFrame] == 5 &&
                       packet[kFrame + 7] == 1 && At<std::uint16_t>(packet, kFrame + 16) == 0x10 &&
                       At<std::uint32_t>(packet, kFrame + 24) == 0x01010000;
  const auto buffer = At<iovec>(packet, kBuffers);
  const auto length = At<std::uint32_t>(packet, kFrame + 20);
  if (!isKnown || buffer.iov_base == nullptr || buffer.iov_len != length) return FailWith(EINVAL);
  std::string info(buffer.iov_len, '\0');
  info.replace(0x540, script.product.size(), script.product);
  info.replace(0x640, script.package.size(), script.package);
  info.copy(static_cast<char*>(buffer.iov_base), buffer.iov_len);
  packet[kFrame + 2] = static_cast<char>(script.statusOfRaid);
  return OkUnless(script.errorOfRaid);
}

// A message of the kernel in answer to another, whose attributes `put` adds.
template <typename TPut>
std::string MessageFor(const nlmsghdr& request, std::uint16_t type, const TPut& put) {
  std::array<char, 8192> buffer{};
  nlmsghdr* const message = ::mnl_nlmsg_put_header(buffer.data());
  message->nlmsg_type = type;
  message->nlmsg_seq = request.nlmsg_seq;
  message->nlmsg_pid = kPort;
  put(message);
  return {buffer.data(), message->nlmsg_len};
}

std::string Acknowledgement(const nlmsghdr& request, int error) {
  return MessageFor(request, NLMSG_ERROR, [&](nlmsghdr* message) {
    auto* const body =
        static_cast<nlmsgerr*>(::mnl_nlmsg_put_extra_header(message, sizeof(nlmsgerr)));
    body->error = -error;
    body->msg = request;
  });
}

void PutVersion(nlmsghdr* message, std::uint16_t kind, const std::string& name,
                const std::string& value) {
  nlattr* const nest = ::mnl_attr_nest_start(message, kind);
  ::mnl_attr_put_strz(message, DEVLINK_ATTR_INFO_VERSION_NAME, name.c_str());
  ::mnl_attr_put_strz(message, DEVLINK_ATTR_INFO_VERSION_VALUE, value.c_str());
  ::mnl_attr_nest_end(message, nest);
}

std::string FamilyFor(const nlmsghdr& request) {
  return MessageFor(request, GENL_ID_CTRL, [](nlmsghdr* message) {
    ::mnl_nlmsg_put_extra_header(message, sizeof(genlmsghdr));
    ::mnl_attr_put_u16(message, CTRL_ATTR_FAMILY_ID, kFamily);
  });
}

// Beside what runs, versions that are stored and run only after the next start.
std::string VersionsFor(const nlmsghdr& request) {
  return MessageFor(request, kFamily, [](nlmsghdr* message) {
    ::mnl_nlmsg_put_extra_header(message, sizeof(genlmsghdr));
    PutVersion(message, DEVLINK_ATTR_INFO_VERSION_STORED, "fw", "stored");
    for (const auto& [name, value] : script.running)
      PutVersion(message, DEVLINK_ATTR_INFO_VERSION_RUNNING, name, value);
  });
}

struct TWanted {
  std::uint16_t type;
  std::string text;
  bool isFound;
};

int LookFor(const nlattr* attribute, void* data) {
  TWanted& wanted = *static_cast<TWanted*>(data);
  if (::mnl_attr_get_type(attribute) == wanted.type)
    wanted.isFound = wanted.text == ::mnl_attr_get_str(attribute);
  return MNL_CB_OK;
}

bool Holds(const nlmsghdr& request, std::uint16_t type, const std::string& text) {
  TWanted wanted{type, text, false};
  ::mnl_attr_parse(&request, sizeof(genlmsghdr), LookFor, &wanted);
  return wanted.isFound;
}

void Answer(const nlmsghdr& request) {
  answers.clear();
  const auto& header = *static_cast<const genlmsghdr*>(::mnl_nlmsg_get_payload(&request));
  // The questions of a socket are counted, so that none is taken for the answer to another's.
  const bool isFirst = header.version == 1 && request.nlmsg_seq == 1;
  const bool isSecond = header.version == 1 && request.nlmsg_seq == 2;
  const bool isForFamily = isFirst && request.nlmsg_type == GENL_ID_CTRL &&
                           header.cmd == CTRL_CMD_GETFAMILY &&
                           Holds(request, CTRL_ATTR_FAMILY_NAME, "devlink");
  const bool isForVersions = isSecond && request.nlmsg_type == kFamily &&
                             header.cmd == DEVLINK_CMD_INFO_GET &&
                             Holds(request, DEVLINK_ATTR_BUS_NAME, "pci") &&
                             Holds(request, DEVLINK_ATTR_DEV_NAME, "0000:01:00.0");
  if (isForFamily && script.hasDevlink) answers.push_back(FamilyFor(request));
  if (isForVersions) answers.push_back(VersionsFor(request));
  answers.push_back(Acknowledgement(request, answers.empty() ? ENOENT : 0));
}

}  // namespace

void SetScript(const TScript& next) {
  script = next;
  isScripted = true;
  isSilenceBounded = false;
  answers.clear();
}

void EndScript() {
  SetScript({});
  isScripted = false;
}

extern "C" {

int __real_ioctl(int file, unsigned long request, ...);
int __real_poll(pollfd* files, nfds_t count, int limit);
int __real_setsockopt(int socket, int level, int option, const void* value, socklen_t size);
int __real_unlink(const char* path);
int __real_rmdir(const char* path);

int __wrap_ioctl(int file, unsigned long request, ...) {
  va_list list;
  va_start(list, request);
  void* const argument = va_arg(list, void*);
  va_end(list);
  if (!isScripted) return __real_ioctl(file, request, argument);
  if (request == IPMICTL_SEND_COMMAND) return SendToController(*static_cast<ipmi_req*>(argument));
  if (request == IPMICTL_RECEIVE_MSG_TRUNC)
    return ReceiveFromController(*static_cast<ipmi_recv*>(argument));
  if (request == SIOCETHTOOL) return TellDriver(*static_cast<ifreq*>(argument));
  if (_IOC_TYPE(request) == 'M' && _IOC_NR(request) == 1)
    return AskRaid(static_cast<char*>(argument));
  return __real_ioctl(file, request, argument);
}

int __wrap_poll(pollfd* files, nfds_t count, int limit) {
  return script.isSilent && limit > 0 ? 0 : __real_poll(files, count, limit);
}

// What poll becomes where the compiler cannot tell how many files there are.
int __wrap___poll_chk(pollfd* files, nfds_t count, int limit, std::size_t /*room*/) {
  return __wrap_poll(files, count, limit);
}

int __wrap_setsockopt(int socket, int level, int option, const void* value, socklen_t size) {
  if (socket != kSocket) return __real_setsockopt(socket, level, option, value, size);
  if (level != SOL_SOCKET || option != SO_RCVTIMEO || size != sizeof(timeval)) return -1;
  isSilenceBounded = static_cast<const timeval*>(value)->tv_sec == kLongestSilence;
  return 0;
}

// A regular file stands in for the node; a link for one that cannot be opened.
int __wrap_mknod(const char* path, mode_t mode, dev_t device) {
  if (mode != (S_IFCHR | 0600) || device != ::makedev(script.major, 0)) return FailWith(EPERM);
  if (!script.isNodeOpen) return ::symlink("nowhere", path);
  const int file = ::open(path, O_CREAT | O_EXCL | O_WRONLY, 0600);
  return file < 0 ? -1 : ::close(file);
}

// What succeeds may leave any error behind.
int __wrap_unlink(const char* path) {
  const int result = __real_unlink(path);
  if (result == 0) errno = EXDEV;
  return result;
}

int __wrap_rmdir(const char* path) {
  const int result = __real_rmdir(path);
  if (result == 0) errno = EXDEV;
  return result;
}

mnl_socket* __wrap_mnl_socket_open(int bus) {
  static char anything;
  return bus == NETLINK_GENERIC ? reinterpret_cast<mnl_socket*>(&anything) : nullptr;
}
int __wrap_mnl_socket_bind(mnl_socket* /*socket*/, unsigned groups, pid_t port) {
  return groups == 0 && port == MNL_SOCKET_AUTOPID ? 0 : FailWith(EINVAL);
}
int __wrap_mnl_socket_get_fd(const mnl_socket* /*socket*/) { return kSocket; }
unsigned __wrap_mnl_socket_get_portid(const mnl_socket* /*socket*/) { return kPort; }
int __wrap_mnl_socket_close(mnl_socket* /*socket*/) { return 0; }

ssize_t __wrap_mnl_socket_sendto(const mnl_socket* /*socket*/, const void* message, size_t size) {
  Answer(*static_cast<const nlmsghdr*>(message));
  return static_cast<ssize_t>(size);
}

// Who does not bound the silence would never see an end of it, and who asks on behind the
// acknowledgement would wait for nothing.
ssize_t __wrap_mnl_socket_recvfrom(const mnl_socket* /*socket*/, void* bytes, size_t size) {
  if (answers.empty()) std::abort();
  if (!isSilenceBounded) return FailWith(EAGAIN);
  const bool isOfVersions =
      At<std::uint16_t>(answers.front().data(), offsetof(nlmsghdr, nlmsg_type)) == kFamily;
  if (isOfVersions && script.end) {
    errno = EAGAIN;
    return *std::exchange(script.end, std::nullopt);
  }
  const std::string answer = answers.front();
  answers.pop_front();
  return static_cast<ssize_t>(answer.copy(static_cast<char*>(bytes), size));
}

}  // extern "C"

}  // namespace svc::collect
