#include <gtest/gtest.h>

#include "plugins/version_checker/inventory/inventory_operations.h"
#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;
using namespace svc::checker;
using svc::test::TExpectedLog;
using svc::test::TFakeHost;
using svc::test::TLog;

namespace {

struct TContainment {
  const char* name;
  const char* text;
  const char* needle;
  bool contained;
};

void PrintTo(const TContainment& containment, std::ostream* stream) {
  *stream << "\"" << containment.needle << "\" in \"" << containment.text << "\"";
}

class TPropertyContains : public testing::TestWithParam<TContainment> {};

TEST_P(TPropertyContains, FindsATextWithoutRegardToASCIICase) {
  TFakeHost host;
  const auto element = host.inventory->Add("Element", {{"description", GetParam().text}});
  EXPECT_EQ(TInventoryOperations::PropertyContains(element, "description", GetParam().needle),
            GetParam().contained);
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Test());
}

constexpr TContainment kContainments[] = {
    {"SameCase", "a BIOS Update", "BIOS Update", true},
    {"TextInCapitals", "A BIOS UPDATE", "BIOS Update", true},
    {"NeedleInCapitals", "a bios update", "BIOS Update", true},
    {"NotThere", "a BIOS", "BIOS Update", false},
    {"EmptyNeedle", "anything", "", true},
    {"EmptyText", "", "x", false},
    {"BothEmpty", "", "", true},
    {"FirstAndLastLetter", "@AZ[", "@az[", true},
    {"NeighboursOfTheCapitals", "@[", "`{", false},
    {"BytesOutsideASCII", "\xC4", "\xE4", false},
    {"SameBytesOutsideASCII", "x\xC3\x84y", "\xC3\x84Y", true},
};
INSTANTIATE_TEST_SUITE_P(Texts, TPropertyContains, testing::ValuesIn(kContainments),
                         svc::test::TCaseName());

TEST(PropertyContains, MissingPropertyContainsOnlyTheEmptyText) {
  TFakeHost host;
  const auto element = host.inventory->Add("Element", {});
  EXPECT_FALSE(TInventoryOperations::PropertyContains(element, "description", "x"));
  EXPECT_TRUE(TInventoryOperations::PropertyContains(element, "description", ""));
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().TestMissing().TestMissing());
}

TEST(PropertyContains, SearchesAcrossTheElementsOfAnArray) {
  TFakeHost host;
  const auto element = host.inventory->Add(
      "Element", {{"systems", TCIMValue::Array(ECIMType::kString, {"RHEL5", "SLES10"})}});
  EXPECT_TRUE(TInventoryOperations::PropertyContains(element, "systems", "RHEL5 SLES10 "));
  EXPECT_FALSE(TInventoryOperations::PropertyContains(element, "systems", "RHEL5,"));
}

class TMatching : public testing::Test {
 protected:
  TInstanceHandle Element(const char* property, TCIMValue value) {
    return host.inventory->Add("Element", {{property, std::move(value)}});
  }
  TInstanceHandle ForMachines(std::vector<TCIMValue> types) {
    return Element("applicableMachineTypes", TCIMValue::Array(ECIMType::kString, std::move(types)));
  }
  TInstanceHandle ForSystems(std::vector<TCIMValue> codes) {
    return Element("applicableOperatingSystems",
                   TCIMValue::Array(ECIMType::kString, std::move(codes)));
  }

  TFakeHost host;
};

TEST_F(TMatching, MachineTypeStandsBetweenItsMarks) {
  const TInstanceHandle match = ForMachines({"Rackwell 4631 -[4631]-", "-[4620]-"});
  const TInstanceHandle unmarked = ForMachines({"4620"});
  const TInstanceHandle longer = ForMachines({"-[46201]-", "-[14620]-"});
  const TInstanceHandle second = ForMachines({"Rackwell -[4620]- and more"});
  EXPECT_EQ(TInventoryOperations::MatchMachineInstances("4620", {match, unmarked, longer, second}),
            (TInstanceList{match, second}));
  EXPECT_EQ(host.logger.Entries(),
            TExpectedLog().Trace("In MatchMachineInstances").Test().Test().Test().Test());
}

TEST_F(TMatching, MachineTypesCompareWithoutRegardToCase) {
  const TInstanceHandle element = ForMachines({"-[46ab]-"});
  EXPECT_EQ(TInventoryOperations::MatchMachineInstances("46AB", {element}), TInstanceList{element});
}

TEST_F(TMatching, MachineTypeWithOneLetterComparesWithoutRegardToItsCase) {
  for (const char letter : {'a', 'b', 'y', 'z'}) {
    const std::string small = std::string("461") + letter;
    const std::string capital = std::string("461") + static_cast<char>(letter - 'a' + 'A');
    const TInstanceHandle element = ForMachines({"-[" + capital + "]-"});
    for (const std::string& type : {small, capital}) {
      EXPECT_EQ(TInventoryOperations::MatchMachineInstances(type, {element}),
                TInstanceList{element})
          << type;
    }
  }
}

TEST_F(TMatching, MachineTypeOfDigitsIsFoundAmongCapitalsToo) {
  const TInstanceHandle element = ForMachines({"RACKWELL -[46AB]-", "X -[4620]-Y"});
  EXPECT_EQ(TInventoryOperations::MatchMachineInstances("4620", {element}), TInstanceList{element});
  EXPECT_EQ(TInventoryOperations::MatchMachineInstances("46ab", {element}), TInstanceList{element});
  EXPECT_TRUE(TInventoryOperations::MatchMachineInstances("462a", {element}).empty());
}

TEST_F(TMatching, MachineTypeIsFoundWhereverItStands) {
  constexpr const char* kPieces[] = {"-[4]-", "-[4", "]-", "4]-[4", "-[]-", " ", "-", "["};
  constexpr std::size_t kMost = 4;
  TInstanceList elements;
  std::vector<std::string> texts;
  for (std::size_t number = 0; number < 1 << 3 * kMost; ++number) {
    std::string text;
    for (std::size_t rest = number; rest != 0; rest /= 8) text += kPieces[rest % 8];
    elements.push_back(Element("applicableMachineTypes", TCIMValue(text)));
    texts.push_back(text);
  }
  host.logger.Keep(kLogProgress);
  for (const std::string type : {"", "4", "4]-[4", "4]-[4]-[4"}) {
    TInstanceList expected;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (texts[i].find("-[" + type + "]-") != std::string::npos) expected.push_back(elements[i]);
    }
    EXPECT_FALSE(expected.empty()) << type;
    EXPECT_EQ(TInventoryOperations::MatchMachineInstances(type, elements), expected) << type;
  }
}

TEST_F(TMatching, OrderAndRepetitionAreKept) {
  const TInstanceHandle first = ForMachines({"-[4620]-"});
  const TInstanceHandle second = ForMachines({"-[4620]-"});
  EXPECT_EQ(TInventoryOperations::MatchMachineInstances("4620", {second, first, second}),
            (TInstanceList{second, first, second}));
}

TEST_F(TMatching, ElementWithoutMachineTypesNeverMatches) {
  const TInstanceHandle missing = Element("description", "x");
  const TInstanceHandle null =
      Element("applicableMachineTypes", TCIMValue::Null(ECIMType::kString, true));
  EXPECT_TRUE(TInventoryOperations::MatchMachineInstances("", {missing, null}).empty());
}

TEST_F(TMatching, NothingMatchesInAnEmptyList) {
  EXPECT_TRUE(TInventoryOperations::MatchMachineInstances("4620", {}).empty());
  EXPECT_TRUE(TInventoryOperations::MatchOSInstances("RHEL5", {}).empty());
  EXPECT_EQ(host.logger.Entries(),
            TLog({{4, "In MatchMachineInstances"}, {4, "In MatchOSInstances"}}));
}

TEST_F(TMatching, OperatingSystemMatchesInsideALongerCode) {
  const TInstanceHandle only64Bit = ForSystems({"RHEL5_64"});
  const TInstanceHandle sles10 = ForSystems({"SLES10_64"});
  const TInstanceHandle lower = ForSystems({"rhel5"});
  EXPECT_EQ(TInventoryOperations::MatchOSInstances("RHEL5", {only64Bit, sles10, lower}),
            (TInstanceList{only64Bit, lower}));
  EXPECT_EQ(TInventoryOperations::MatchOSInstances("SLES10", {sles10}), TInstanceList{sles10});
  EXPECT_TRUE(TInventoryOperations::MatchOSInstances("RHEL5_64", {lower}).empty());
}

TEST_F(TMatching, LowerCaseCodeOfACatalogueMatches) {
  const TInstanceHandle lower = ForSystems({"rhel5_64"});
  EXPECT_EQ(TInventoryOperations::MatchOSInstances("RHEL5_64", {lower}), TInstanceList{lower});
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Trace("In MatchOSInstances").Test());
}

TEST_F(TMatching, UnknownSystemMatchesEveryElement) {
  const TInstanceHandle one = ForSystems({"RHEL5"});
  const TInstanceHandle missing = Element("description", "x");
  const TInstanceHandle null =
      Element("applicableOperatingSystems", TCIMValue::Null(ECIMType::kString, true));
  EXPECT_EQ(TInventoryOperations::MatchOSInstances("", {one, missing, null}),
            (TInstanceList{one, missing, null}));
}

}  // namespace
