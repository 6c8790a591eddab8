#include "svcheck/publisher/build.h"

#include <gtest/gtest.h>

#include "rules/system_codes.h"

namespace svc::repository {
namespace {

using TTexts = std::vector<std::string>;

std::set<std::string> Codes(const TTexts& texts) {
  std::set<std::string> codes;
  for (const std::size_t system : SystemsOf(texts)) codes.emplace(rules::kSystemCodes[system].code);
  return codes;
}

using TSet = std::set<std::string>;

TApplicability Of(std::string_view name, const std::vector<TElement>& elements) {
  return ApplicabilityOf(name, [&](const TTakeElement& take) {
    for (const TElement& element : elements) take(element);
  });
}

TEST(MachineTypes, StandInBracketsAnywhere) {
  EXPECT_EQ(MachineTypesOf({"-[4620]-", "for -[4621]-and-[4622]-"}),
            (TSet{"4620", "4621", "4622"}));
  EXPECT_EQ(MachineTypesOf({"-[PowerEdge R750]-, -[Standard PC (Q35 + ICH9, 2009)]-", "-[a[b]]-"}),
            (TSet{"PowerEdge R750", "Standard PC (Q35 + ICH9, 2009)", "a[b]"}));
  EXPECT_EQ(MachineTypesOf({"", "4620", "[4620]", "-[4620", "-[]-", "]-4620-["}), TSet{});
}

TEST(Systems, AreWordsOfTheirOwn) {
  EXPECT_EQ(Codes({"RHEL5_64"}), TSet{"RHEL5_64"});
  EXPECT_EQ(Codes({"RHEL5", "rhel5_64"}), (TSet{"RHEL5", "RHEL5_64"}));
  EXPECT_EQ(Codes({"SLES10,SLES11_64; Windows 2008 R2"}),
            (TSet{"SLES10", "SLES11_64", "Windows 2008"}));
  for (const char* mark : {"/", ":", "@", "[", "^", "`", "{", " "}) {
    EXPECT_EQ(Codes({std::string(mark) + "RHEL5" + mark}), TSet{"RHEL5"}) << mark;
  }
  for (const char* letter : {"0", "9", "A", "Z", "_", "a", "z"}) {
    EXPECT_EQ(Codes({std::string("RHEL5") + letter, letter + std::string("RHEL5")}), TSet{})
        << letter;
  }
  EXPECT_EQ(Codes({"XRHEL5", "RHEL55", "RHEL5_6", "Windows", "Linux", "VMWARE"}), TSet{});
}

TEST(Systems, AreAllNineteen) {
  for (const rules::TSystemCode& code : rules::kSystemCodes)
    EXPECT_EQ(Codes({std::string(code.code)}), TSet{std::string(code.code)});
}

TEST(Applicability, JoinsTheElementsOfADescription) {
  const auto result = Of("a.xml", {{"x", {"-[1]-"}, {"RHEL5", "Linux"}},
                                   {"y", {"-[2]-"}, {"RHEL5 for Linux", "VMWARE3", "VMware"}}});
  EXPECT_EQ(result.machineTypes,
            (std::map<TPlatform, TSet>{{{203, 1}, {"1", "2"}}, {{303, 1}, {"2"}}}));
  EXPECT_EQ(result.warnings.Lines(), TTexts{});
}

TEST(Applicability, WarnsOnceForEachFamilyThatIsMissing) {
  const auto result =
      Of("a.xml", {{"x", {"-[1]-"}, {"RHEL5", "SLES9", "VMWARE3", "Windows 2003"}}});
  const TTexts lines = result.warnings.Lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_NE(lines[0].find("\"Linux\""), std::string::npos);
  EXPECT_NE(lines[1].find("\"VMware\""), std::string::npos);
}

TEST(Applicability, HasElementsForSystemsWithoutACodeUnderNoPlatform) {
  const auto result =
      Of("a.xml", {{"x", {"-[PowerEdge R750]-"}, {"UBUNTU24", "Linux"}}, {"y", {}, {"UBUNTU24"}}});
  EXPECT_EQ(result.machineTypes, (std::map<TPlatform, TSet>{{{0, 0}, {"PowerEdge R750"}}}));
  const TTexts lines = result.warnings.Lines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_NE(lines[0].find("catalogue fetch"), std::string::npos);
  EXPECT_NE(lines[1].find("catalogue fetch"), std::string::npos);
  EXPECT_NE(lines[2].find("machine type"), std::string::npos);
}

TEST(Applicability, SaysWhatIsMissingOfAnElementAndWhatFollows) {
  EXPECT_EQ(
      Of("a.xml", {{"x", {"4620"}, {"RHEL5", "Linux"}}}).warnings.Lines(),
      TTexts{"element \"x\" names no machine type in the form -[TYPE]-: no machine takes it"});
  EXPECT_EQ(Of("a.xml", {{"x", {"-[1]-"}, {"RHEL5", "linux"}}}).warnings.Lines(),
            TTexts{"element \"x\" is for Linux systems but does not name \"Linux\" itself: live "
                   "queries look for it"});
  EXPECT_EQ(Of("a.xml", {{"x", {"-[1]-"}, {"UBUNTU24"}}}).warnings.Lines(),
            TTexts{"element \"x\" names no operating system that has a code: no live check takes "
                   "it, only `svcheck catalogue fetch` does"});
}

TEST(Applicability, WarnsOfANameByWhichQueriesPassTheFileOver) {
  const std::vector<TElement> linux = {{"x", {"-[1]-"}, {"RHEL5", "Linux"}}};
  const std::vector<TElement> windows = {{"x", {"-[1]-"}, {"Windows 2003"}}};
  const auto linesOf = [](std::string_view name, const std::vector<TElement>& elements) {
    return Of(name, elements).warnings.Lines();
  };
  const TTexts onLinux = {"the name holds \"win\": queries on Linux pass it over"};
  const TTexts onWindows = {"the name holds \"linux\": queries on Windows pass it over"};
  EXPECT_EQ(linesOf("a-win-b.xml", linux), onLinux);
  EXPECT_EQ(linesOf("a-win-b.xml", windows), TTexts());
  EXPECT_EQ(linesOf("linux.xml", windows), onWindows);
  EXPECT_EQ(linesOf("linux.xml", linux), TTexts());
  EXPECT_EQ(linesOf("a.XML", linux), TTexts{"the name does not hold \"xml\": no query loads it"});
}

TEST(Applicability, WarnsOfADescriptionWithoutElements) {
  EXPECT_EQ(Of("a.xml", {}).warnings.Lines(), TTexts{"holds no update element"});
}

}  // namespace
}  // namespace svc::repository
