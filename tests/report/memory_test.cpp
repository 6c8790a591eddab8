// What rendering takes beside the report itself: bounded, however many records there are. The
// global allocation functions of this program count.
#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include "report/selection.h"
#include "sample_report.h"

namespace {

std::atomic<std::size_t> used;
std::atomic<std::size_t> mostUsed;

void Count(void* block) noexcept {
  const std::size_t now = used += malloc_usable_size(block);
  if (now > mostUsed) mostUsed = now;
}

}  // namespace

// Not inlined: the compiler would take malloc and delete for a pair that does not match.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  Count(block);
  return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  used -= malloc_usable_size(block);
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  used -= malloc_usable_size(block);
  std::free(block);
}

namespace svc::report {
namespace {

class TCountingOutput : public IOutput {
 public:
  void Write(std::string_view part) override { size += part.size(); }
  std::size_t size = 0;
};

TReport LargeReport(std::size_t records, std::size_t types) {
  TReport report = SampleReport();
  report.records.clear();
  for (std::size_t i = 0; i < records; ++i) {
    report.records.push_back({"Type " + std::to_string(i % types),
                              "Component " + std::to_string(i),
                              "1." + std::to_string(i),
                              "2.0",
                              kVerdicts[i % kVerdicts.size()],
                              {}});
  }
  return report;
}

std::size_t MemoryOf(std::string_view format, const TReport& report) {
  TCountingOutput output;
  const std::size_t before = used;
  mostUsed = before;
  FormatOfName(format)->render(report, {}, output);
  EXPECT_GT(output.size, report.records.size() * 40) << format;
  return mostUsed - before;
}

class StreamedFormat : public testing::TestWithParam<const char*> {};

TEST_P(StreamedFormat, TakesNoMemoryForItsRecords) {
  constexpr std::size_t kBound = 64 << 10;
  const std::size_t taken = MemoryOf(GetParam(), LargeReport(100'000, 2));
  RecordProperty("bytes", static_cast<int>(taken));
  EXPECT_LT(taken, kBound);
  EXPECT_LT(MemoryOf(GetParam(), LargeReport(20'000, 20'000)), kBound);
}

INSTANTIATE_TEST_SUITE_P(Formats, StreamedFormat,
                         testing::Values("html", "table", "json", "ndjson", "csv", "junit",
                                         "cyclonedx", "sarif"));

// Reports are long and their records short: 80 bytes of JSON.
TEST(Diff, TakesFewBytesForARecordOnWhicheverSideItIs) {
  constexpr std::size_t kRecords = 50'000;
  constexpr std::size_t kBytesOfRecord = 128;
  const TReport none = LargeReport(0, 1);
  const TReport many = LargeReport(kRecords, 2);
  for (const auto& [before, after] :
       {std::pair(&many, &none), std::pair(&none, &many), std::pair(&many, &many)}) {
    const std::size_t start = used;
    mostUsed = start;
    const TDiff diff = CompareReports(*before, *after);
    EXPECT_EQ(diff.changes.size() + diff.same, kRecords);
    EXPECT_LT(mostUsed - start, kRecords * kBytesOfRecord);
  }
}

TEST(Table, ALongTextWidensOtherLinesByNoMoreThanAThousandColumns) {
  const auto sizeFor = [](std::size_t longest) {
    TReport report = LargeReport(100, 2);
    report.records.front().name.assign(longest, 'x');
    TCountingOutput output;
    RenderTable(report, {}, output);
    return output.size;
  };
  const std::size_t atBound = sizeFor(1024);
  EXPECT_GT(atBound, sizeFor(1023) + 100);  // Each line is as wide.
  EXPECT_EQ(sizeFor(1025), atBound + 1);
  EXPECT_EQ(sizeFor(100'000), atBound + 100'000 - 1024);
}

}  // namespace
}  // namespace svc::report
