// A name for a file on its way to a path: beside it, and no other process's.
#ifndef RUNTIME_ACQUIRE_UNIQUE_NAME_H_
#define RUNTIME_ACQUIRE_UNIQUE_NAME_H_

#include <random>
#include <string>

namespace svc::acquire {

inline std::string UniqueName(const std::string& path) {
  std::random_device device;
  return path + "." + std::to_string(device()) + ".part";
}

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_UNIQUE_NAME_H_
