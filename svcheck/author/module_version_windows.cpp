// libkmod, which knows kernel modules, is a library of Linux.
#include <stdexcept>

#include "svcheck/author/driver_source.h"

namespace svc::catalogue {

std::string ModuleVersion(std::string_view /*bytes*/) {
  throw std::runtime_error("kernel modules are read by svcheck for Linux alone");
}

}  // namespace svc::catalogue
