// Pairing 100,000 offered with 300 installed drivers, beside a plain hash join of the same lists.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "plugins/version_checker/drivers/driver_operations.h"
#include "runtime/hskcore/in_memory_namespace.h"

namespace {

using namespace svc::checker;

constexpr int kOffered = 100'000;
constexpr int kInstalled = 300;
// Catalogues offer a driver for several systems: each name comes five times.
constexpr int kNames = kOffered / 5;

std::string Name(int number) {
  const int which = number % kNames;
  char name[32];
  std::snprintf(name, sizeof name, "%cdrv%05d.sys", 'a' + which % 26, which);
  return name;
}

TDriverFiles Offered() {
  TDriverFiles lists;
  for (int i = 0; i < kOffered; ++i) lists.emplace_back(Name(i) + "-#4.31.0.50");
  return lists;
}

TDriverList Installed() {
  TDriverList list;
  for (int i = 0; i < kInstalled; ++i) {
    const std::string name = Name(i * (kNames / kInstalled));
    list.push_back({name, "C:\\WINDOWS\\system32\\drivers\\" + name, "4.30.0.12", true});
  }
  return list;
}

void BM_CompareDrivers(benchmark::State& state) {
  const TDriverFiles offered = Offered();
  const TDriverList installed = Installed();
  for (auto unused : state) {
    state.PauseTiming();
    const auto results = svc::MakeInMemoryNamespace();
    svc::DeclareBuiltinClasses(results);
    state.ResumeTiming();
    TDriverOperations::CompareDrivers(offered, installed, results);
  }
}
BENCHMARK(BM_CompareDrivers)->Unit(benchmark::kMillisecond);

// The pairs of records whose names are equal, and nothing done with them.
void BM_HashJoin(benchmark::State& state) {
  const TDriverFiles offered = Offered();
  const TDriverList installed = Installed();
  for (auto unused : state) {
    std::unordered_multimap<std::string_view, const DriverRecord*> byName;
    for (const DriverRecord& record : installed) byName.emplace(record.fileName, &record);
    std::size_t pairs = 0;
    for (const NQRXHSK20::TSharedText& list : offered) {
      pairs += byName.count(list.View().substr(0, list.View().find("-#")));
    }
    benchmark::DoNotOptimize(pairs);
    state.counters["pairs"] = static_cast<double>(pairs);
  }
}
BENCHMARK(BM_HashJoin)->Unit(benchmark::kMillisecond);

}  // namespace
