// Kernel modules by libkmod, which takes files: the bytes are shown to it as one in memory.
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "collect/kernel_module.h"
#include "svcheck/catalogue/driver_source.h"

namespace svc::catalogue {

namespace {

class TMemoryFile {
 public:
  explicit TMemoryFile(std::string_view bytes) : descriptor(::memfd_create("module", MFD_CLOEXEC)) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
    while (!bytes.empty()) {
      const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        ::close(descriptor);
        throw std::system_error(errno, std::generic_category(), "a module does not fit in memory");
      }
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
  }
  ~TMemoryFile() { ::close(descriptor); }
  TMemoryFile(const TMemoryFile&) = delete;
  TMemoryFile& operator=(const TMemoryFile&) = delete;

  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

 private:
  int descriptor;
};

collect::TModuleContext NewContext() {
  constexpr const char* kNoFolder = "/dev/null";
  constexpr const char* kNoConfiguration = nullptr;
  collect::TModuleContext context(::kmod_new(kNoFolder, &kNoConfiguration));
  // What it has against a broken file is said by the caller.
  if (context) ::kmod_set_log_priority(context.get(), 0);
  return context;
}

}  // namespace

std::optional<std::string> ModuleVersion(std::string_view bytes) {
  static const auto context = NewContext();
  const TMemoryFile file(bytes);
  kmod_module* found = nullptr;
  if (!context || ::kmod_module_new_from_path(context.get(), file.Path().c_str(), &found) < 0) {
    return {};
  }
  const collect::TModule module(found);
  return collect::ModuleInformation(*module, "version");
}

}  // namespace svc::catalogue
