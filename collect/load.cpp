#include "collect/load.h"

#include "runtime/acquire/module.h"

namespace svc::collect {

const ICollector& LoadCollector() {
  using TEntry = const ICollector* (*)();
  static const ICollector& collector =
      *reinterpret_cast<TEntry>(acquire::FindInModule("svcheck-collect", "SvcheckCollector"))();
  return collector;
}

}  // namespace svc::collect
