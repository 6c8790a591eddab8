#include <dlfcn.h>

#include "runtime/acquire/module.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {
namespace {

std::string FolderOfThisLibrary() {
  Dl_info info;
  if (dladdr(reinterpret_cast<const void*>(&FindInModule), &info) == 0) return ".";
  const std::string path = info.dli_fname;
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

TError Missing(const std::string& path) {
  const char* reason = dlerror();
  return DownloadError(EOutcome::kIncomplete,
                       "part of the installation cannot be loaded: " +
                           (reason != nullptr ? std::string(reason) : path) +
                           "; install the program again, with its libraries");
}

}  // namespace

void* FindInModule(const std::string& module, const char* function) {
  const std::string path = FolderOfThisLibrary() + "/lib" + module + ".so";
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw Missing(path);
  void* const address = dlsym(handle, function);
  if (address == nullptr) throw Missing(path);
  return address;
}

}  // namespace svc::acquire
