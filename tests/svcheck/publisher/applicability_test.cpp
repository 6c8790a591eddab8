#include "svcheck/publisher/build.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/error.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/system_codes.h"
#include "tests/support/temporary_folder.h"

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
  EXPECT_EQ(result.warnings.Lines(),
            (TTexts{"element \"x\" is for Linux systems but does not name \"Linux\" itself: live "
                    "queries look for it",
                    "element \"x\" is for VMware systems but does not name \"VMware\" itself: live "
                    "queries look for it"}));
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

TEST(Applicability, TakesEachElementByItsOwnLists) {
  const auto result = Of("a.xml", {{"x", {"-[1]-"}, {"RHEL5", "Linux"}},
                                   {"y", {"-[2]-"}, {"RHEL5", "Linux"}},
                                   {"z", {"-[2]-"}, {"VMWARE3", "VMware"}}});
  EXPECT_EQ(result.machineTypes,
            (std::map<TPlatform, TSet>{{{203, 1}, {"1", "2"}}, {{303, 1}, {"2"}}}));
  EXPECT_EQ(result.warnings.Lines(), TTexts{});
}

std::vector<TElement> ElementsOf(const std::string& properties, const std::string& classes = "") {
  const test::TTemporaryFolder folder;
  folder.Write("a.xml",
               "<?xml version=\"1.0\"?><?sv-catalogue version=\"4.02\"?><CIM><DECLARATION>"
               "<DECLGROUP>" +
                   classes + "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" +
                   (classes.empty() ? "QRXPSG_SystemUpdateElement" : "Mine") + "\">" + properties +
                   "</INSTANCE></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>");
  std::vector<TElement> elements;
  ReadDescription(folder.Path() + "/a.xml", DATA_FOLDER,
                  [&](const TElement& element) { elements.push_back(element); });
  return elements;
}

TEST(Description, HasListsOfTextsAndNumbersAsAQueryReadsThem) {
  const auto read = ElementsOf(
      "<PROPERTY NAME=\"name\" TYPE=\"uint16\"><VALUE>4638</VALUE></PROPERTY>"
      "<PROPERTY.ARRAY NAME=\"applicableMachineTypes\" TYPE=\"uint16\"><VALUE.ARRAY>"
      "<VALUE>4638</VALUE><VALUE>9</VALUE><VALUE>10</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"
      "<PROPERTY NAME=\"applicableOperatingSystems\" TYPE=\"string\"><VALUE>RHEL5</VALUE>"
      "</PROPERTY>");
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read[0].name, "4638");
  EXPECT_EQ(read[0].machineTypes, (TTexts{"4638", "9", "10"}));
  EXPECT_EQ(read[0].operatingSystems, TTexts{"RHEL5"});
}

TEST(Description, HasNothingWhereAnElementSaysNothing) {
  for (const char* properties :
       {"",
        "<PROPERTY NAME=\"name\" TYPE=\"string\"/>"
        "<PROPERTY.ARRAY NAME=\"applicableMachineTypes\" TYPE=\"string\"/>"}) {
    const auto read = ElementsOf(properties);
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].name, "");
    EXPECT_EQ(read[0].machineTypes, TTexts{});
    EXPECT_EQ(read[0].operatingSystems, TTexts{});
  }
}

TEST(Description, HasElementsOfClassesBelowThatOfUpdates) {
  const auto read = ElementsOf(
      "",
      "<VALUE.OBJECT><CLASS NAME=\"Mine\" SUPERCLASS=\"QRXPSG_SystemUpdateElement\">"
      "<PROPERTY NAME=\"name\" TYPE=\"string\"><VALUE>inherited</VALUE></PROPERTY></CLASS>"
      "</VALUE.OBJECT>");
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read[0].name, "inherited");
}

TEST(Description, ThatCannotBeReadIsNamed) {
  const auto refusal = [](const std::string& path) {
    try {
      ReadDescription(path, DATA_FOLDER, [](const TElement&) {});
      return std::string();
    } catch (const TError& error) {
      return std::string(error.what());
    }
  };
  const test::TTemporaryFolder folder;
  const std::string path = folder.Path() + "/a.xml";
  EXPECT_EQ(refusal(path), path + " cannot be read: No such file or directory");
  EXPECT_EQ(refusal("/dev/null"), "/dev/null cannot be read: it is a device and no file");
  folder.Write("a.xml", "");
  constexpr std::uintmax_t kMost = NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize;
  std::filesystem::resize_file(path, kMost + 1);  // A file with a hole takes no room.
  EXPECT_EQ(refusal(path), path + " is too large to be loaded by a query");
}

TEST(Applicability, WarnsOfADescriptionWithoutElements) {
  EXPECT_EQ(Of("a.xml", {}).warnings.Lines(), TTexts{"holds no update element"});
}

}  // namespace
}  // namespace svc::repository
