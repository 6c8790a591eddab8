#include "collect/collector.h"
#include "runtime/acquire/module.h"

namespace svc::collect {

const ICollector& LoadCollector() {
  using TEntry = const ICollector* (*)();
  static const ICollector& collector =
      *acquire::FindInModule<TEntry>("svcheck-collect", "SvcheckCollector")();
  return collector;
}

}  // namespace svc::collect
