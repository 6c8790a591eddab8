#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>

#include "collect/linux/netlink.h"
#include "collect/linux/tree.h"

namespace svc::collect {

std::string EthtoolFirmwareVersion(const std::string& interfaceName) {
  const TDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ethtool_drvinfo info{};
  info.cmd = ETHTOOL_GDRVINFO;
  ifreq request{};
  if (!socket || interfaceName.size() >= sizeof request.ifr_name) return {};
  std::memcpy(request.ifr_name, interfaceName.data(), interfaceName.size());
  request.ifr_data = reinterpret_cast<char*>(&info);
  if (::ioctl(socket.Get(), SIOCETHTOOL, &request) != 0) return {};
  const std::string version = CleanText({info.fw_version, sizeof info.fw_version});
  return version == "N/A" ? std::string() : version;
}

}  // namespace svc::collect
