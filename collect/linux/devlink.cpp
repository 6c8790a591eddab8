#include <libmnl/libmnl.h>
#include <linux/devlink.h>
#include <linux/genetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "collect/linux/netlink.h"

namespace svc::collect {
namespace {

struct TCloseSocket {
  void operator()(mnl_socket* socket) const { ::mnl_socket_close(socket); }
};

// A generic netlink socket for one question after the other. A kernel that stays silent is given
// up after two seconds.
class TGenericSocket {
 public:
  using TVisit = std::function<void(const nlattr&)>;

  TGenericSocket() : socket(::mnl_socket_open(NETLINK_GENERIC)) {
    constexpr timeval kTimeout{2, 0};
    if (!socket || ::mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) != 0) {
      socket.reset();
      return;
    }
    ::setsockopt(::mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &kTimeout,
                 sizeof kTimeout);
  }

  // Starts a question; its attributes are put into the message that is returned.
  nlmsghdr* Begin(std::uint16_t family, std::uint8_t command) {
    nlmsghdr* const message = ::mnl_nlmsg_put_header(buffer.data());
    message->nlmsg_type = family;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    message->nlmsg_seq = ++sequence;
    auto* const header =
        static_cast<genlmsghdr*>(::mnl_nlmsg_put_extra_header(message, sizeof(genlmsghdr)));
    header->cmd = command;
    header->version = 1;
    return message;
  }

  // Sends it and visits each attribute of the answer. False when the kernel refuses.
  bool Ask(const nlmsghdr* message, TVisit visit) {
    if (!socket || ::mnl_socket_sendto(socket.get(), message, message->nlmsg_len) < 0) return false;
    const unsigned port = ::mnl_socket_get_portid(socket.get());
    for (;;) {
      const ssize_t size = ::mnl_socket_recvfrom(socket.get(), buffer.data(), buffer.size());
      if (size <= 0) return false;
      const int result = ::mnl_cb_run(buffer.data(), static_cast<std::size_t>(size), sequence, port,
                                      VisitMessage, &visit);
      if (result <= MNL_CB_STOP) return result == MNL_CB_STOP;
    }
  }

 private:
  static int VisitMessage(const nlmsghdr* message, void* visit) {
    return ::mnl_attr_parse(message, sizeof(genlmsghdr), VisitAttribute, visit);
  }
  static int VisitAttribute(const nlattr* attribute, void* visit) {
    (*static_cast<TVisit*>(visit))(*attribute);
    return MNL_CB_OK;
  }

  std::unique_ptr<mnl_socket, TCloseSocket> socket;
  std::array<char, 32768> buffer{};
  unsigned sequence = 0;
};

// The number that the kernel gave the family "devlink"; 0 when it has none.
std::uint16_t DevlinkFamily(TGenericSocket& socket) {
  std::uint16_t family = 0;
  nlmsghdr* const message = socket.Begin(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  ::mnl_attr_put_strz(message, CTRL_ATTR_FAMILY_NAME, DEVLINK_GENL_NAME);
  socket.Ask(message, [&family](const nlattr& attribute) {
    const bool isNumber = ::mnl_attr_get_type(&attribute) == CTRL_ATTR_FAMILY_ID &&
                          ::mnl_attr_validate(&attribute, MNL_TYPE_U16) >= 0;
    if (isNumber) family = ::mnl_attr_get_u16(&attribute);
  });
  return family;
}

std::string TextOf(const nlattr& attribute) {
  if (::mnl_attr_validate(&attribute, MNL_TYPE_NUL_STRING) < 0) return {};
  return ::mnl_attr_get_str(&attribute);
}

using TVersion = std::pair<std::string, std::string>;

int ReadVersionPart(const nlattr* attribute, void* version) {
  auto& [name, value] = *static_cast<TVersion*>(version);
  const auto type = ::mnl_attr_get_type(attribute);
  if (type == DEVLINK_ATTR_INFO_VERSION_NAME) name = TextOf(*attribute);
  if (type == DEVLINK_ATTR_INFO_VERSION_VALUE) value = TextOf(*attribute);
  return MNL_CB_OK;
}

TVersion VersionOf(const nlattr& nested) {
  TVersion version;
  ::mnl_attr_parse_nested(&nested, ReadVersionPart, &version);
  return version;
}

}  // namespace

std::map<std::string, std::string> DevlinkRunningVersions(const std::string& bus,
                                                          const std::string& device) {
  std::map<std::string, std::string> versions;
  TGenericSocket socket;
  const std::uint16_t family = DevlinkFamily(socket);
  if (family == 0) return versions;
  nlmsghdr* const message = socket.Begin(family, DEVLINK_CMD_INFO_GET);
  ::mnl_attr_put_strz(message, DEVLINK_ATTR_BUS_NAME, bus.c_str());
  ::mnl_attr_put_strz(message, DEVLINK_ATTR_DEV_NAME, device.c_str());
  socket.Ask(message, [&versions](const nlattr& attribute) {
    if (::mnl_attr_get_type(&attribute) == DEVLINK_ATTR_INFO_VERSION_RUNNING) {
      if (TVersion version = VersionOf(attribute); !version.first.empty()) {
        versions.insert(std::move(version));
      }
    }
  });
  return versions;
}

}  // namespace svc::collect
