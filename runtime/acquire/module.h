// Parts of the installation that only some runs need, loaded when they are needed: a query of a
// local catalogue starts without the libraries for networks and signatures. Any thread.
#ifndef RUNTIME_ACQUIRE_MODULE_H_
#define RUNTIME_ACQUIRE_MODULE_H_

#include <string>

#include "host/hskcore/export.h"

namespace svc::acquire {

// The address of what the module exports under a C name. The module lies beside this library, of
// which there is one wherever the program lies, and stays loaded until the process ends. Throws
// TError (kIncomplete).
ACQUIRE_API void* AddressInModule(const std::string& module, const char* name);

template <typename TFunction>
TFunction FindInModule(const std::string& module, const char* name) {
  return reinterpret_cast<TFunction>(AddressInModule(module, name));
}

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_MODULE_H_
