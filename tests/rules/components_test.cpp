#include "rules/components.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace svc::rules {
namespace {

// An element's tested properties, by their number.
using TElement = std::map<std::size_t, std::string>;

// Makes the tests of an element and counts them.
struct THolds {
  const TElement& element;
  std::size_t& tests;

  bool operator()(const TComponentTest& test) const {
    ++tests;
    const auto text = element.find(test.property);
    return text != element.end() && Mentions(text->second, test.text.Text());
  }
};

template <std::size_t N>
EComponent First(const std::array<TComponentTest, N>& tests, const TElement& element,
                 std::size_t* made = nullptr) {
  std::size_t count = 0;
  const EComponent component = FirstThatHolds(tests, THolds{element, count});
  if (made != nullptr) *made = count;
  return component;
}

EComponent InChain(const TElement& element) { return First(kChainTests, element); }

TEST(Chain, FirstTestThatHoldsDecidesAndIsTheLastToBeMade) {
  std::size_t made = 0;
  EXPECT_EQ(First(kChainTests, {{kDescription, "a uEFI Diagnostic"}}, &made), EComponent::kUefi);
  EXPECT_EQ(made, 1U);
  EXPECT_EQ(First(kChainTests, {{kCategory, "uefi"}}, &made), EComponent::kUefi);
  EXPECT_EQ(made, 2U);
  EXPECT_EQ(First(kChainTests, {{kDescription, "keyboard"}}, &made), EComponent::kNone);
  EXPECT_EQ(made, 20U);
}

TEST(Chain, NarrowTextsStandBeforeTheWiderOnes) {
  EXPECT_EQ(InChain({{kDescription, "Remote Watch Adapter II"}}), EComponent::kRwa2);
  EXPECT_EQ(InChain({{kDescription, "Remote Watch Adapter I"}}), EComponent::kRwa);
  EXPECT_EQ(InChain({{kDescription, "Remote Watch Adapte"}}), EComponent::kNone);
}

TEST(Chain, FoldersAreTestedAsWrittenBySlashes) {
  EXPECT_EQ(InChain({{kDirectory, "/pkgs/diag/x"}}), EComponent::kDiagnostics);
  EXPECT_EQ(InChain({{kDirectory, "/PKGS/RWA2"}}), EComponent::kRwa2);
  EXPECT_EQ(InChain({{kDirectory, "/PKGS/REMOTWAT"}}), EComponent::kRwa);
  EXPECT_EQ(InChain({{kDirectory, "\\PKGS\\DIAG"}}), EComponent::kNone);
  EXPECT_EQ(InChain({{kDescription, "/PKGS/RWA2"}}), EComponent::kNone) << "another property";
}

TEST(Chain, EveryRowAloneLeadsToItsComponent) {
  for (const TComponentTest& test : kChainTests) {
    const TElement element = {{test.property, "the " + std::string(test.text.Text()) + ", 1"}};
    EXPECT_EQ(InChain(element), test.component) << test.text.Text();
  }
}

TEST(Chain, NamesEveryComponentButThoseOfOtherTables) {
  std::set<EComponent> named;
  for (const TComponentTest& test : kChainTests) named.insert(test.component);
  EXPECT_EQ(named, (std::set<EComponent>{EComponent::kUefi, EComponent::kDiagnostics,
                                         EComponent::kRwa2, EComponent::kRwa, EComponent::kIscp,
                                         EComponent::kUnnamedProcessor, EComponent::kBroadcom,
                                         EComponent::kMegaRaid, EComponent::kLsi}));
}

TEST(Bios, IsFoundByDescriptionOrCategory) {
  EXPECT_EQ(First(kBiosTests, {{kDescription, "bios update"}}), EComponent::kBios);
  EXPECT_EQ(First(kBiosTests, {{kDescription, "BIOS Flash"}}), EComponent::kBios);
  EXPECT_EQ(First(kBiosTests, {{kDescription, "Flash BIOS"}}), EComponent::kBios);
  EXPECT_EQ(First(kBiosTests, {{kCategory, "RAID BIOS"}}), EComponent::kBios);
  EXPECT_EQ(First(kBiosTests, {{kDescription, "System BIOS"}}), EComponent::kNone);
}

TEST(Processors, OfTheGroupAreToldApartByDescription) {
  EXPECT_EQ(First(kProcessorTests, {{kDescription, "Integrated System Control"}}), EComponent::kH8);
  for (const char* const text :
       {"Baseboard Management Controller", "mBMC Firmware Update", "Integrated Control Module"}) {
    EXPECT_EQ(First(kProcessorTests, {{kDescription, text}}), EComponent::kBmc) << text;
    EXPECT_EQ(
        First(kProcessorTests, {{kDescription, std::string(text) + ", Integrated System Control"}}),
        EComponent::kH8);
  }
  EXPECT_EQ(First(kProcessorTests, {{kCategory, "Integrated System Control"}}), EComponent::kNone);
}

TEST(Components, EachHasANameOfItsOwn) {
  std::set<std::string_view> names;
  for (const TComponentRow& row : kComponents) {
    EXPECT_FALSE(row.name.empty());
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
  }
}

TEST(Components, VersionsOfAdaptersStandInTheListOfDriverFiles) {
  EXPECT_EQ(RowOf(EComponent::kBios).name, "System BIOS");
  EXPECT_EQ(RowOf(EComponent::kBmc).place, EVersionPlace::kVersion);
  EXPECT_EQ(RowOf(EComponent::kUnnamedProcessor).place, EVersionPlace::kNowhere);
  for (const auto adapter : {EComponent::kBroadcom, EComponent::kMegaRaid, EComponent::kLsi}) {
    EXPECT_EQ(RowOf(adapter).place, EVersionPlace::kDriverFiles);
  }
  EXPECT_EQ(RowOf(EComponent::kNone).place, EVersionPlace::kNowhere);
}

TEST(FirstDiagnostics, AreKnownByTheirVersionInExactlyItsLetters) {
  EXPECT_TRUE(IsFirstDiagnostics("fdcp-1.10"));
  EXPECT_TRUE(IsFirstDiagnostics("x fdcp-1.10a"));
  EXPECT_FALSE(IsFirstDiagnostics("fdcp-1.1"));
  EXPECT_FALSE(IsFirstDiagnostics("fdcp-1.20"));
  EXPECT_FALSE(IsFirstDiagnostics("FDCP-1.10"));
  EXPECT_FALSE(IsFirstDiagnostics(""));
}

TEST(FirstDiagnostics, AreSkippedOnThreeMachineTypes) {
  for (const char* const type : {"4620", "4631", "2705"}) {
    EXPECT_TRUE(SkipsFirstDiagnostics(type)) << type;
  }
  for (const char* const type :
       {"4619", "4621", "4630", "4632", "2704", "2706", "", "46311", " 4631", "463"}) {
    EXPECT_FALSE(SkipsFirstDiagnostics(type)) << type;
  }
}

}  // namespace
}  // namespace svc::rules
