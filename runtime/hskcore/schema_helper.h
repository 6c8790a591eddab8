// The classes that every inventory has.
#ifndef RUNTIME_HSKCORE_SCHEMA_HELPER_H_
#define RUNTIME_HSKCORE_SCHEMA_HELPER_H_

#include <boost/shared_ptr.hpp>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace svc {

// Declares them in an in-memory namespace, adding to those that are there already. Throws
// THSKException (kFailed) for any other namespace.
HSKCORE_API void DeclareBuiltinClasses(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

}  // namespace svc

#endif  // RUNTIME_HSKCORE_SCHEMA_HELPER_H_
