// Where the trace is kept every pair is visited, where it is not only those that match: both must
// deliver the same.
#include <gtest/gtest.h>

#include <random>

#include "plugins/version_checker/drivers/driver_operations.h"
#include "tests/support/fake_host.h"

using namespace svc::checker;

namespace svc::test {
namespace {

class TRandomDrivers {
 public:
  explicit TRandomDrivers(unsigned seed) : random(seed) {}

  TDriverFiles Offered(std::size_t longest) {
    TDriverFiles lists;
    for (std::size_t left = Below(longest + 1); left > 0; --left) {
      lists.emplace_back(Name() + "-#" + std::to_string(Below(10)));
    }
    return lists;
  }
  TDriverList Installed(std::size_t longest) {
    TDriverList list(Below(longest + 1));
    for (DriverRecord& record : list) {
      record = {Name(), "", std::to_string(Below(10)), Below(4) != 0};
    }
    return list;
  }

 private:
  std::size_t Below(std::size_t limit) { return random() % limit; }

  // Few enough names for many to be the same, by case or extension or whole.
  std::string Name() {
    static const std::vector<std::string> kNames = {"a",   "A",     "a.sys", "A.b.c", "b", "",
                                                    "NaN", "nan.x", ".sys",  ".",     "bb"};
    return kNames[Below(kNames.size())];
  }
  std::mt19937 random;
};

struct TOutcome {
  TRecords records;
  TLog log;  // Without the trace.
};

TOutcome Match(const TDriverFiles& offered, const TDriverList& installed, int level) {
  TFakeHost host;
  host.logger.Keep(level);
  TDriverOperations::CompareDrivers(offered, installed, host.inventory);
  return {host.Records(), host.logger.UpTo(3)};
}

TEST(DriverMatching, DeliversTheSameWithAndWithoutTrace) {
  std::size_t delivered = 0;
  for (unsigned seed = 0; seed < 500; ++seed) {
    TRandomDrivers random(seed);
    const TDriverFiles offered = random.Offered(20);
    const TDriverList installed = random.Installed(20);
    const TOutcome traced = Match(offered, installed, 4);
    const TOutcome quiet = Match(offered, installed, 3);
    ASSERT_EQ(traced.records, quiet.records) << "seed " << seed;
    ASSERT_EQ(traced.log, quiet.log) << "seed " << seed;
    delivered += traced.records.size();
  }
  EXPECT_GT(delivered, 1000U);  // The lists do have names in common.
}

}  // namespace
}  // namespace svc::test
