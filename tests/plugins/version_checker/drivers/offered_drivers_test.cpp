#include <gtest/gtest.h>

#include "plugins/version_checker/drivers/driver_operations.h"
#include "rules/driver_list.h"
#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;
using namespace svc::checker;

namespace svc::test {
namespace {

using TOffers = std::vector<std::pair<std::string, std::string>>;

TOffers Offers(std::string_view list) {
  TOffers offers;
  rules::CutDriverList(list, [&](const rules::TDriverListEntry& entry) {
    if (entry.IsOffered()) offers.emplace_back(entry.name, entry.version);
  });
  return offers;
}

struct TListed {
  const char* name;
  const char* driverFiles;
  TOffers offers;
};
void PrintTo(const TListed& listed, std::ostream* stream) { *stream << listed.driverFiles; }

class TListOfDrivers : public testing::TestWithParam<TListed> {};

TEST_P(TListOfDrivers, IsNamesAndVersions) {
  EXPECT_EQ(Offers(GetParam().driverFiles), GetParam().offers);
}

const TListed kLists[] = {
    {"OneEntry", "e1000.sys-#8.9.1.0", {{"e1000.sys", "8.9.1.0"}}},
    {"TwoEntries", "a-#1 b-#2", {{"a", "1"}, {"b", "2"}}},
    {"LastVersionIsTheRestOfTheText", "a-#1 b-#2 of 3 ", {{"a", "1"}, {"b", "2 of 3 "}}},
    {"EmptyName", "-#1 b-#2", {{"b", "2"}}},
    {"EmptyVersionInTheMiddle", "a-# b-#2", {{"b", "2"}}},
    {"EmptyVersionAtTheEnd", "a-#1 b-#", {{"a", "1"}}},
    {"NoBlankInBetween", "a-#1b-#2", {{"a", "1b-#2"}, {"1b", "2"}}},
    {"NoBlankBetweenThree", "a-#1b-#2c-#3", {{"a", "1b-#2c-#3"}, {"1b", "2c-#3"}, {"2c", "3"}}},
    {"BlankBehindTheNextMark", "a-#1b-#2 c-#3", {{"a", "1b-#2"}, {"c", "3"}}},
    {"TwoBlanks", "a-#1  b-#2", {{"a", "1"}, {" b", "2"}}},
    {"NameWithBlanks", "my driver-#1 your driver-#2", {{"my driver", "1"}, {"your driver", "2"}}},
    {"VersionOfTheFirstEntryEndsAtItsBlank", "a-#1 x b-#2", {{"a", "1"}, {"x b", "2"}}},
    {"MarksWithinAMark", "a-#-#2", {{"a", "-#2"}}},
    {"OnlyAMark", "-#", {}},
    {"NoMark", "e1000.sys 8.9", {}},
    {"Empty", "", {}},
};
INSTANTIATE_TEST_SUITE_P(Texts, TListOfDrivers, testing::ValuesIn(kLists), TCaseName());

// Each step of the rule as it is said, without a thought for time.
TOffers CutStepByStep(std::string rest) {
  TOffers offers;
  for (std::size_t mark = rest.find("-#"); mark != rest.npos; mark = rest.find("-#")) {
    const std::string name = rest.substr(0, mark);
    rest.erase(0, mark + 2);
    const bool isLast = rest.find("-#") == rest.npos;
    const std::size_t blank = rest.find(' ');
    const std::string version = isLast ? rest : rest.substr(0, blank);
    if (!isLast) rest.erase(0, blank + 1);  // Wraps to 0: nothing is erased.
    if (!name.empty() && !version.empty()) offers.emplace_back(name, version);
    if (isLast) break;
  }
  return offers;
}

TEST(DriverList, IsCutAsStepByStep) {
  constexpr std::string_view kLetters = "-#a ";
  for (unsigned number = 0; number < 1u << 18; ++number) {
    std::string list;
    for (unsigned rest = number; list.size() < 9; rest >>= 2) list += kLetters[rest & 3];
    ASSERT_EQ(Offers(list), CutStepByStep(list)) << list;
  }
}

TEST(DriverList, EntriesAreViewsOfTheList) {
  const std::string list = "a-#1b-#2";
  rules::CutDriverList(list, [&](const rules::TDriverListEntry& entry) {
    EXPECT_EQ(entry.name.data() + entry.name.size() + 2, entry.version.data());
    EXPECT_GE(entry.name.data(), list.data());
    EXPECT_LE(entry.version.data() + entry.version.size(), list.data() + list.size());
  });
}

// A search that began anew for each entry would take hours.
TEST(DriverList, OfAMillionEntriesWithoutABlankIsCutInTime) {
  std::string list;
  for (int i = 0; i < 1'000'000; ++i) list += "a-#";
  std::size_t count = 0;
  std::size_t bytes = 0;
  rules::CutDriverList(list, [&](const rules::TDriverListEntry& entry) {
    ++count;
    bytes += entry.version.size();
  });
  EXPECT_EQ(count, 1'000'000U);
  EXPECT_EQ(bytes, 3ULL * 1'000'000 * 999'999 / 2);
}

class TOfferedDrivers : public testing::Test {
 protected:
  TInstanceHandle Element(TFakeProperties properties) {
    return host.inventory->Add("Element", std::move(properties));
  }
  TOffers Collect(const TInstanceList& elements, const std::string& osType) {
    TDriverFiles lists;
    TDriverOperations::CollectCatalogueDrivers(lists, elements, osType);
    TOffers offers;
    for (const TSharedText& list : lists) {
      const TOffers more = Offers(list);
      offers.insert(offers.end(), more.begin(), more.end());
    }
    return offers;
  }
  static TCIMValue Systems(std::vector<TCIMValue> codes) {
    return TCIMValue::Array(ECIMType::kString, std::move(codes));
  }

  TFakeHost host;
};

TEST_F(TOfferedDrivers, AreThoseOfElementsForTheSystem) {
  const TInstanceHandle here = Element(
      {{"applicableOperatingSystems", Systems({"SLES10", "RHEL5"})}, {"driverFiles", "a-#1"}});
  const TInstanceHandle elsewhere =
      Element({{"applicableOperatingSystems", Systems({"SLES10"})}, {"driverFiles", "b-#2"}});
  EXPECT_EQ(Collect({here, elsewhere, here}, "RHEL5"), (TOffers{{"a", "1"}, {"a", "1"}}));
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Read().Read().Read().Read().Read());
}

TEST_F(TOfferedDrivers, CodeMayBePartOfALongerOne) {
  const TInstanceHandle element =
      Element({{"applicableOperatingSystems", Systems({"RHEL5_64"})}, {"driverFiles", "a-#1"}});
  EXPECT_EQ(Collect({element}, "RHEL5"), (TOffers{{"a", "1"}}));
  EXPECT_TRUE(Collect({element}, "RHEL5_640").empty());
}

TEST_F(TOfferedDrivers, CodesCompareByCase) {
  const TInstanceHandle element =
      Element({{"applicableOperatingSystems", "rhel5"}, {"driverFiles", "a-#1"}});
  EXPECT_TRUE(Collect({element}, "RHEL5").empty());
}

TEST_F(TOfferedDrivers, ElementWithoutSystemsAppliesOnlyToAnUnknownOne) {
  const TInstanceHandle missing = Element({{"driverFiles", "a-#1"}});
  const TInstanceHandle null =
      Element({{"applicableOperatingSystems", TCIMValue()}, {"driverFiles", "b-#2"}});
  EXPECT_TRUE(Collect({missing, null}, "RHEL5").empty());
  EXPECT_EQ(Collect({missing, null}, ""), (TOffers{{"a", "1"}, {"b", "2"}}));
}

TEST_F(TOfferedDrivers, ElementWithoutFilesOffersNothing) {
  const TInstanceHandle missing = Element({{"applicableOperatingSystems", "RHEL5"}});
  const TInstanceHandle null =
      Element({{"applicableOperatingSystems", "RHEL5"}, {"driverFiles", TCIMValue()}});
  EXPECT_TRUE(Collect({missing, null}, "RHEL5").empty());
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Read().ReadMissing().Read().ReadNull());
}

TEST_F(TOfferedDrivers, LongListsAreSharedWithTheElements) {
  const std::string files(500, 'x');
  const TInstanceHandle element =
      Element({{"applicableOperatingSystems", "RHEL5"}, {"driverFiles", files}});
  TDriverFiles lists;
  TDriverOperations::CollectCatalogueDrivers(lists, {element}, "RHEL5");
  ASSERT_EQ(lists.size(), 1U);
  EXPECT_TRUE(lists[0].IsShared());
  EXPECT_EQ(lists[0], files);
}

TEST_F(TOfferedDrivers, ListOfFilesMayBeAnArray) {
  const TInstanceHandle element = Element(
      {{"applicableOperatingSystems", "RHEL5"}, {"driverFiles", Systems({"a-#1", "b-#2"})}});
  EXPECT_EQ(Collect({element}, "RHEL5"), (TOffers{{"a", "1"}, {"b", "2 "}}));
}

}  // namespace
}  // namespace svc::test
