// The log alone: what one line costs where it is kept, and where it is dropped.
#include <benchmark/benchmark.h>

#include <string>

#include "runtime/hskcore/logging.h"

namespace {

void LogLine(benchmark::State& state, int level, const std::string& message) {
  const auto logger = svc::TJsonLogger::Open("/dev/null", 4, {});
  for (auto step : state) {
    logger->Log(level, message);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(message.size()));
}
BENCHMARK_CAPTURE(LogLine, Kept, 4, "In GetPropertyValue");
BENCHMARK_CAPTURE(LogLine, Dropped, 5, "In GetPropertyValue");
BENCHMARK_CAPTURE(LogLine, Escaped, 4, "C:\\QRX_Support\\SV\\\"file\".xml");
BENCHMARK_CAPTURE(LogLine, Long, 4, std::string(4000, 'x'));

}  // namespace
