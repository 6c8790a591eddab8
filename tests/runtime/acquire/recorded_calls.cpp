#include "recorded_calls.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace svc::test {
namespace {

int failure = 0;

// A file on its way has a name that nobody can foresee behind that of its place.
std::string Seen(const std::string& path) {
  const std::filesystem::path seen(path.substr(0, path.find(".svcheck-")));
  return seen.lexically_proximate(std::filesystem::current_path()).string();
}

std::filesystem::path PathOf(int descriptor) {
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

}  // namespace

std::vector<std::string>& RecordedCalls() {
  static std::vector<std::string> calls;
  return calls;
}

void FailNextSync(int error) { failure = error; }

extern "C" {

int __real_fsync(int descriptor);
int __real_renameat(int folder, const char* from, int target, const char* to);
int __real_mkdir(const char* path, mode_t mode);

int __wrap_fsync(int descriptor) {
  RecordedCalls().push_back("fsync " + Seen(PathOf(descriptor).string()));
  errno = failure;
  failure = 0;
  return errno != 0 ? -1 : __real_fsync(descriptor);
}

int __wrap_renameat(int folder, const char* from, int target, const char* to) {
  RecordedCalls().push_back("rename " + Seen((PathOf(folder) / from).string()) + " " +
                            Seen((PathOf(target) / to).string()));
  return __real_renameat(folder, from, target, to);
}

int __wrap_mkdir(const char* path, mode_t mode) {
  RecordedCalls().push_back("mkdir " + Seen(path));
  return __real_mkdir(path, mode);
}

}  // extern "C"

}  // namespace svc::test
