#include <dlfcn.h>

#include "base/module.h"

namespace svc {

static TError LastError() {
  const char* const reason = dlerror();
  return TError(reason != nullptr ? reason : "the dynamic linker says no reason");
}

std::string FolderOfCode(const void* code) {
  Dl_info info;
  if (dladdr(code, &info) == 0) return ".";
  const std::string path = info.dli_fname;
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string ModuleFile(const std::string& folder, const std::string& name) {
  return folder + "/lib" + name + ".so";
}

TModule::TModule(const std::string& path) : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle == nullptr) throw LastError();
}

TModule::~TModule() {
  if (handle != nullptr && !isKept) dlclose(handle);
}

void* TModule::Address(const char* name) const noexcept { return dlsym(handle, name); }

// The dynamic linker still has the reason of the search that found nothing.
TError TModule::Missing(const char* /*name*/) const { return LastError(); }

}  // namespace svc
