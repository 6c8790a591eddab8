// The way to the collector for programs that seldom need it: its libraries are loaded at the first
// call, not with the program.
#ifndef COLLECT_LOAD_H_
#define COLLECT_LOAD_H_

#include "collect/collector.h"

namespace svc::collect {

// The collector of the module libsvcheck-collect.so, which lies beside the other libraries. Valid
// until the process ends; the same at each call. May be called from any thread. Throws
// TError when the module cannot be loaded, with what to do.
const ICollector& LoadCollector();

}  // namespace svc::collect

#endif  // COLLECT_LOAD_H_
