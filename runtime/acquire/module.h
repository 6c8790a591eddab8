// Parts of the installation that only some runs need, loaded when they are needed: a query of a
// local catalogue starts without the libraries for networks and signatures. Any thread.
#ifndef RUNTIME_ACQUIRE_MODULE_H_
#define RUNTIME_ACQUIRE_MODULE_H_

#include <string>

#include "host/hskcore/export.h"

namespace svc::acquire {

// The address of a function that the module exports under a C name. The module lies beside this
// library and stays loaded until the process ends. Throws TError (kIncomplete).
ACQUIRE_API void* FindInModule(const std::string& module, const char* function);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_MODULE_H_
