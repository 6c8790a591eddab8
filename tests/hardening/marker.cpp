// A library that leaves a file behind when it is loaded.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

[[gnu::constructor]] void LeaveMark() {
  if (const char* const path = getenv("MARK_FILE"))
    close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
}

}  // namespace
