#include <gtest/gtest.h>

#include "drivers/driver_record.h"
#include "plugin/contents/sv_plugin.h"
#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;

namespace svc::test {
namespace {

using TOffers = std::vector<std::pair<std::string, std::string>>;

TOffers Offers(const TDriverList& list) {
  TOffers offers;
  for (const DriverRecord& record : list) {
    EXPECT_EQ(record.marker, "NaN");
    EXPECT_EQ(record.path, "");
    EXPECT_FALSE(record.running);
    offers.emplace_back(record.fileName, record.version);
  }
  return offers;
}

struct TListed {
  const char* name;
  const char* driverFiles;
  TOffers offers;
};
void PrintTo(const TListed& listed, std::ostream* stream) { *stream << listed.driverFiles; }

class TDriverFiles : public testing::TestWithParam<TListed> {};

TEST_P(TDriverFiles, AreNamesAndVersions) {
  TDriverList list;
  AppendOfferedDrivers(list, GetParam().driverFiles);
  EXPECT_EQ(Offers(list), GetParam().offers);
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
INSTANTIATE_TEST_SUITE_P(Texts, TDriverFiles, testing::ValuesIn(kLists), TCaseName());

class TOfferedDrivers : public testing::Test {
 protected:
  TInstanceHandle Element(TFakeProperties properties) {
    return host.inventory->Add("Element", std::move(properties));
  }
  TOffers Collect(const TInstanceList& elements, const std::string& osType) {
    TDriverList list;
    TSVPluginCallbacks::CollectCatalogueDrivers(list, elements, osType);
    return Offers(list);
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

TEST_F(TOfferedDrivers, ListOfFilesMayBeAnArray) {
  const TInstanceHandle element = Element(
      {{"applicableOperatingSystems", "RHEL5"}, {"driverFiles", Systems({"a-#1", "b-#2"})}});
  EXPECT_EQ(Collect({element}, "RHEL5"), (TOffers{{"a", "1"}, {"b", "2 "}}));
}

}  // namespace
}  // namespace svc::test
