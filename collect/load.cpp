#include "collect/collector.h"
#include "runtime/acquire/engine.h"

namespace svc::collect {

const ICollector& LoadCollector() {
  using TEntry = const ICollector* (*)();
  static const ICollector& collector =
      *acquire::FindInModule<TEntry>("svcheck-collect", "SvcheckCollector")();
  return collector;
}

Outcome CollectFromService(const ServiceOptions& options) {
  using TEntry = void (*)(const ServiceOptions&, Outcome&);
  static const auto collect =
      acquire::FindInModule<TEntry>("svcheck-redfish", "SvcheckCollectRedfish");
  Outcome outcome;
  collect(options, outcome);
  return outcome;
}

}  // namespace svc::collect
