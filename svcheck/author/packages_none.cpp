// A build without libarchive.

#include "base/error.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

void ReadPackage(const std::filesystem::path& /*path*/,
                 const std::function<bool(const std::string& name)>& /*isWanted*/,
                 const TTakeMember& /*take*/) {
  throw TError(
      "this svcheck is built without libarchive and reads no packages; unpack it and give the "
      "folder");
}

// libkmod, which knows kernel modules, is a library of Linux.

TStatement StatementOfModule(std::string_view /*bytes*/) {
  throw TError("kernel modules are read by svcheck for Linux alone");
}

}  // namespace svc::catalogue
