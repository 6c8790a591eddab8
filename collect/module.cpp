// The entry of libsvcheck-collect.so.
#include "collect/linux/linux_collector.h"

extern "C" __attribute__((visibility("default"))) const svc::collect::ICollector*
SvcheckCollector() {
  static const svc::collect::TLinuxCollector collector;
  return &collector;
}
