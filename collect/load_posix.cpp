#include "collect/load.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace svc::collect {
namespace {

constexpr const char* kModule = "libsvcheck-collect.so";
constexpr const char* kEntry = "SvcheckCollector";

const ICollector& Load() {
  void* const module = ::dlopen(kModule, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    throw std::runtime_error(std::string("cannot read this machine's inventory: ") + ::dlerror() +
                             "; install svcheck whole, or give --inventory FILE");
  }
  const auto entry = reinterpret_cast<const ICollector* (*)()>(::dlsym(module, kEntry));
  if (entry == nullptr) {
    throw std::runtime_error(std::string("cannot read this machine's inventory: ") + kModule +
                             " is of another build; install svcheck anew");
  }
  return *entry();
}

}  // namespace

const ICollector& LoadCollector() {
  static const ICollector& collector = Load();
  return collector;
}

}  // namespace svc::collect
