// Loaded before the client's daemon in a test: where no udev runs, libusb and the daemon both ask
// the kernel for the socket address that the process's number is, and the second one fails. The
// kernel chooses another one for who asks for none.
#include <dlfcn.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <cstring>

extern "C" __attribute__((visibility("default"))) int bind(int socket, const sockaddr* address,
                                                           socklen_t size) noexcept {
  using TBind = int (*)(int, const sockaddr*, socklen_t);
  static const auto next = reinterpret_cast<TBind>(::dlsym(RTLD_NEXT, "bind"));
  sockaddr_nl own{};
  if (address->sa_family != AF_NETLINK || size != sizeof own) return next(socket, address, size);
  std::memcpy(&own, address, sizeof own);
  own.nl_pid = 0;
  return next(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own);
}
