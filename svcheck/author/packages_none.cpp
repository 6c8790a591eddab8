// A build without libarchive.
#include <stdexcept>

#include "svcheck/author/driver_source.h"

namespace svc::catalogue {

void ReadPackage(const std::filesystem::path& /*path*/,
                 const std::function<bool(const std::string& name)>& /*isWanted*/,
                 const TTakeMember& /*take*/) {
  throw std::runtime_error(
      "this svcheck is built without libarchive and reads no packages; unpack it and give the "
      "folder");
}

// libkmod, which knows kernel modules, is a library of Linux.

std::string ModuleVersion(std::string_view /*bytes*/) {
  throw std::runtime_error("kernel modules are read by svcheck for Linux alone");
}

}  // namespace svc::catalogue
