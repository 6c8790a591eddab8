#include "recorded_calls.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace svc::test {
namespace {

int failure = 0;

std::string Seen(const std::string& path) {
  return std::filesystem::path(path).lexically_proximate(std::filesystem::current_path()).string();
}

}  // namespace

std::vector<std::string>& RecordedCalls() {
  static std::vector<std::string> calls;
  return calls;
}

void FailNextSync(int error) { failure = error; }

extern "C" {

int __real_fsync(int descriptor);
int __real_rename(const char* from, const char* to);
int __real_mkdir(const char* path, mode_t mode);

int __wrap_fsync(int descriptor) {
  const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
  RecordedCalls().push_back("fsync " + Seen(path.string()));
  errno = failure;
  failure = 0;
  return errno != 0 ? -1 : __real_fsync(descriptor);
}

int __wrap_rename(const char* from, const char* to) {
  RecordedCalls().push_back("rename " + Seen(from) + " " + Seen(to));
  return __real_rename(from, to);
}

int __wrap_mkdir(const char* path, mode_t mode) {
  RecordedCalls().push_back("mkdir " + Seen(path));
  return __real_mkdir(path, mode);
}

}  // extern "C"

}  // namespace svc::test
