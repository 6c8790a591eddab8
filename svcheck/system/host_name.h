// The name of a machine.
#ifndef SVCHECK_SYSTEM_HOST_NAME_H_
#define SVCHECK_SYSTEM_HOST_NAME_H_

#include <filesystem>
#include <string>

namespace svc {

// Of the machine whose system tree it is; empty when it cannot be told. May be called from any
// thread.
std::string HostName(const std::filesystem::path& root);

}  // namespace svc

#endif  // SVCHECK_SYSTEM_HOST_NAME_H_
