// The providers of namespaces that the host has from the start.
#ifndef RUNTIME_HSKCORE_ROOT_OBJECT_H_
#define RUNTIME_HSKCORE_ROOT_OBJECT_H_

#include <boost/shared_ptr.hpp>

#include "host/hskcore/export.h"
#include "host/hskcore/namespace_provider.h"

namespace svc {

// A manager that knows the provider "inmem". May be used from any thread.
HSKCORE_API boost::shared_ptr<NQRXHSK20::INamespaceProviderManager> MakeNamespaceProviderManager();

}  // namespace svc

#endif  // RUNTIME_HSKCORE_ROOT_OBJECT_H_
