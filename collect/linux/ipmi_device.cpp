// Get Device ID through the character device of the kernel's IPMI handler (linux/ipmi.h; Linux,
// Documentation/driver-api/ipmi.rst).
#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "collect/ipmi.h"
#include "collect/linux/machine.h"

namespace svc::collect {
namespace {

constexpr unsigned char kNetFnApplication = 0x06;
constexpr unsigned char kGetDeviceId = 0x01;
constexpr int kTimeoutMs = 3000;
constexpr long kMessageId = 0x5653;

int Send(int device) {
  ipmi_system_interface_addr address{};
  address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
  address.channel = IPMI_BMC_CHANNEL;
  ipmi_req request{};
  request.addr = reinterpret_cast<unsigned char*>(&address);
  request.addr_len = sizeof address;
  request.msgid = kMessageId;
  request.msg.netfn = kNetFnApplication;
  request.msg.cmd = kGetDeviceId;
  return ::ioctl(device, IPMICTL_SEND_COMMAND, &request);
}

int Receive(int device, std::string& response) {
  std::array<unsigned char, IPMI_MAX_MSG_LENGTH> data{};
  ipmi_addr address{};
  ipmi_recv message{};
  message.addr = reinterpret_cast<unsigned char*>(&address);
  message.addr_len = sizeof address;
  message.msg.data = data.data();
  message.msg.data_len = data.size();
  const int result = ::ioctl(device, IPMICTL_RECEIVE_MSG_TRUNC, &message);
  if (result == 0) response.assign(data.begin(), data.begin() + message.msg.data_len);
  return result;
}

}  // namespace

std::optional<TManagementController> AskManagementController(const char* device,
                                                             std::string& problem) {
  const TDescriptor file(::open(device, O_RDWR | O_CLOEXEC | O_NONBLOCK));
  std::string response;
  if (!file) {
    if (errno != ENOENT && errno != ENXIO && errno != ENODEV) problem = WhyNot(errno);
    return {};
  }
  pollfd ready{file.Get(), POLLIN, 0};
  if (Send(file.Get()) != 0) {
    problem = std::string("the request was refused: ") + std::strerror(errno);
  } else if (::poll(&ready, 1, kTimeoutMs) != 1) {
    problem = "no answer within 3 seconds";
  } else if (Receive(file.Get(), response) != 0) {
    problem = std::string("the answer cannot be read: ") + std::strerror(errno);
  } else if (auto controller = ParseDeviceId(response)) {
    return controller;
  } else {
    problem = "the controller refused to tell its revision";
  }
  return {};
}

}  // namespace svc::collect
