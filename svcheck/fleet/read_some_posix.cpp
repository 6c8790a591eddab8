#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "svcheck/fleet/read_some.h"

namespace svc::fleet {

std::FILE* OpenRegular(const std::string& path) {
  const int number = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (number == -1) return nullptr;
  struct stat status {};
  const bool isKnown = ::fstat(number, &status) == 0;
  if (isKnown && S_ISREG(status.st_mode)) return ::fdopen(number, "rb");
  const int error = isKnown ? EINVAL : errno;
  ::close(number);
  errno = error;
  return nullptr;
}

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
