#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "svcheck/fleet/read_some.h"

namespace svc::fleet {

std::optional<std::size_t> ReadSome(std::FILE* file, char* block, std::size_t size) {
  ssize_t count = 0;
  do {
    count = ::read(::fileno(file), block, size);
  } while (count == -1 && errno == EINTR);
  if (count == -1) return {};
  return static_cast<std::size_t>(count);
}

bool HasSome(std::FILE* file) {
  pollfd polled{::fileno(file), POLLIN, 0};
  return ::poll(&polled, 1, 0) != 0;
}

}  // namespace svc::fleet
