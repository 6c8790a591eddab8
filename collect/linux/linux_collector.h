// The collector of a Linux machine.
#ifndef COLLECT_LINUX_LINUX_COLLECTOR_H_
#define COLLECT_LINUX_LINUX_COLLECTOR_H_

#include "collect/collector.h"

namespace svc::collect {

class TLinuxCollector : public ICollector {
 public:
  Outcome Collect(const Options& options) const override;
  std::vector<std::string> Capture(const Options& options, const TWrite& write) const override;
  std::vector<SourceState> TrySources() const override;
};

}  // namespace svc::collect

#endif  // COLLECT_LINUX_LINUX_COLLECTOR_H_
