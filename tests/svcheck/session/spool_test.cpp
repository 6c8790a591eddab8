// Records that are put aside because they are many.
#include "svcheck/session/spool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <set>

#include "base/error.h"
#include "rules/names.h"

namespace svc {
namespace {

using NQRXHSK20::TSharedText;

// The record with a number.
class TNumbered : public IWrittenInstance {
 public:
  explicit TNumbered(std::size_t number) : number(std::to_string(number)) {}
  TSharedText Text(std::string_view name) const override {
    if (name == rules::kResultType) return "type";
    if (name == rules::kResultName) return "name " + number;
    return (name == rules::kResultInstalled ? "installed " : "offered ") + number;
  }

 private:
  std::string number;
};

std::set<int> OpenFiles() {
  std::set<int> files;
  for (int file = 0; file < 1024; ++file) {
    if (::fcntl(file, F_GETFD) != -1) files.insert(file);
  }
  return files;
}

// Four times as many as stay in memory.
constexpr std::size_t kMany = 4U << 16U;

class RecordSpool : public ::testing::Test {
 protected:
  RecordSpool() {
    const std::set<int> before = OpenFiles();
    for (std::size_t number = 0; number < kMany; ++number) spool.Take(TNumbered(number));
    for (const int file : OpenFiles()) {
      if (!before.contains(file)) files.insert(file);
    }
  }
  std::string NameOf(std::size_t number) const {
    report::TRecord record;
    spool.Read(number, record);
    EXPECT_EQ(record.type, "type");
    EXPECT_EQ(record.installed, "installed " + record.name.substr(5));
    EXPECT_EQ(record.offered, "offered " + record.name.substr(5));
    return record.name;
  }

  TRecordSpool spool;
  std::set<int> files;  // Those that it has open.
};

TEST_F(RecordSpool, GivesEachRecordBackInWhicheverOrder) {
  EXPECT_EQ(spool.Count(), kMany);
  EXPECT_EQ(files.size(), 2U) << "one of records and one of texts";
  for (const std::size_t number : {0U, 1023U, 1024U, 65535U, 65536U, 65537U, 3U, 196607U, 196608U,
                                   262143U, 131072U, 131071U}) {
    EXPECT_EQ(NameOf(number), "name " + std::to_string(number));
  }
  for (std::size_t number = 0; number < kMany; number += 97)
    ASSERT_EQ(NameOf(number), "name " + std::to_string(number));
}

TEST_F(RecordSpool, FailsWhereWhatItPutAsideIsGone) {
  ASSERT_FALSE(files.empty());
  for (const int file : files) ASSERT_EQ(::ftruncate(file, 0), 0);
  report::TRecord record;
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      spool.Read(100000, record);
      ADD_FAILURE() << "a record comes from nowhere";
    } catch (const TError& failure) {
      EXPECT_TRUE(std::string(failure.what()).starts_with("the records cannot be put aside: "))
          << failure.what();
    }
  }
}

}  // namespace
}  // namespace svc
