// A process that runs queries for a long time holds no more at its end than at its beginning.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "tests/soak/queries.h"

namespace svc::test {
namespace {

constexpr int kWarmUp = 20;
constexpr int kUsual = 200;
// What the allocator keeps for itself on the way; one lost block of a query is more after 10,000.
constexpr std::size_t kSlack = 16384;

struct THeld {
  std::size_t bytes;
  std::ptrdiff_t handles;
};

THeld Held() {
  const auto state = mallinfo2();
  const auto handles = std::filesystem::directory_iterator("/proc/self/fd");
  return {state.uordblks + state.hblkhd, std::distance(begin(handles), end(handles))};
}

int QueryCount() {
  const char* const wanted = std::getenv("SOAK_QUERIES");
  return wanted != nullptr ? std::atoi(wanted) : kUsual;
}

TEST(Soak, QueriesLeaveNothingBehind) {
  const TQueries queries;
  const std::vector<std::string> expected = queries.RunQuery();
  ASSERT_GT(expected.size(), 10U);
  for (int i = 0; i < kWarmUp; ++i) queries.RunQuery();
  const THeld before = Held();
  for (int i = QueryCount(); i > 0; --i) ASSERT_EQ(queries.RunQuery(), expected);
  const THeld after = Held();
  EXPECT_EQ(after.handles, before.handles);
  if (!SVC_SANITIZED) {
    EXPECT_LE(after.bytes, before.bytes + kSlack) << QueryCount() << " queries";
  }
}

}  // namespace
}  // namespace svc::test
