// Counts what the process allocates with new. Of the thread that counts alone.
#pragma once

#include <cstddef>

namespace svc::testing {

struct TCountedMemory {
  // The most that was held at one time beyond what was held at the start.
  std::size_t peakBytes;
  std::size_t allocations;
};

void StartCounting();
// Since the start.
TCountedMemory Counted();

}  // namespace svc::testing
