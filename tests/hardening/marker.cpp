// A library that leaves a file beside itself when it is loaded: its own name and ".loaded".
#include <dlfcn.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace {

[[gnu::constructor]] void LeaveMark() {
  Dl_info own{};
  char path[4096];
  if (dladdr(reinterpret_cast<void*>(&LeaveMark), &own) == 0) return;
  snprintf(path, sizeof path, "%s.loaded", own.dli_fname);
  close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
}

}  // namespace
