#include "svcheck/publisher/build.h"

#include <gtest/gtest.h>

#include "runtime/acquire/manifest.h"
#include "tests/support/temporary_folder.h"

namespace svc::repository {
namespace {

// The descriptions lie in no order that a file system would keep.
TEST(Build, WarnsInTheOrderOfTheDescriptionsWhateverThatOfTheirFolders) {
  const test::TTemporaryFolder folder;
  constexpr const char* kEmpty =
      "<?xml version=\"1.0\"?><?sv-catalogue version=\"4.02\"?>\n<CIM CIMVERSION=\"2.0\" "
      "DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP></DECLGROUP></DECLARATION></CIM>";
  for (const char* name : {"m.xml", "b/z.xml", "a.xml", "x.xml", "b/a.xml", "c.xml", "B.xml"})
    folder.Write(name, kEmpty);
  folder.Write(".hidden/d.xml", kEmpty);
  folder.Write(".hidden.xml", kEmpty);
  folder.Write("read.me", "no description");
  const TBuildResult result = Build({folder.Path(), DATA_FOLDER, {}, {}});
  std::vector<std::string> expected;
  for (const char* name : {"B.xml", "a.xml", "b/a.xml", "b/z.xml", "c.xml", "m.xml", "x.xml"})
    expected.push_back(std::string(name) + ": holds no update element");
  expected.resize(5);
  expected.push_back("and 2 more of: holds no update element");
  EXPECT_EQ(result.warnings.Lines(), expected);
  EXPECT_TRUE(result.manifest.files.empty());
  EXPECT_EQ(result.manifest.serial, 1U);
  EXPECT_TRUE(folder.Holds(acquire::kManifestName));
}

// As a query would: it takes no other dialect either.
TEST(Build, RefusesADescriptionThatDoesNotSayItsVersionOrOneBefore402) {
  for (const auto& [instruction, cause] :
       {std::pair("",
                  "the catalogue does not say before its root element that its version is 4.02"),
        std::pair("<?sv-catalogue version=\"4.01\"?>",
                  "the catalogue's version is below 4.02 or unreadable")}) {
    const test::TTemporaryFolder folder;
    folder.Write("old.xml", std::string(instruction) +
                                "<CIM><DECLARATION><DECLGROUP></DECLGROUP></DECLARATION></CIM>");
    try {
      Build({folder.Path(), DATA_FOLDER, {}, {}});
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::exception& error) {
      const std::string text = error.what();
      EXPECT_NE(text.find("old.xml: "), std::string::npos) << text;
      EXPECT_NE(text.find(cause), std::string::npos) << text;
    }
    EXPECT_FALSE(folder.Holds(acquire::kManifestName));
  }
}

TWarnings Warnings(std::size_t count, const std::string& what) {
  TWarnings warnings;
  for (std::size_t i = 0; i < count; ++i)
    warnings.Add("element \"" + std::to_string(i) + "\" ", what);
  return warnings;
}

using TLines = std::vector<std::string>;

TEST(Warnings, NameTheFirstFivePlacesAndCountTheOthers) {
  EXPECT_EQ(TWarnings().Lines(), TLines());
  TLines lines = Warnings(5, "is odd").Lines();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines.back(), "element \"4\" is odd");
  lines.push_back("and 1 more of: is odd");
  EXPECT_EQ(Warnings(6, "is odd").Lines(), lines);
  lines.back() = "and 7995 more of: is odd";
  EXPECT_EQ(Warnings(8000, "is odd").Lines(), lines);
}

TEST(Warnings, OfSeveralFilesCountTogether) {
  TWarnings all;
  all.Add("a.xml", Warnings(3, "is odd"));
  all.Add("b.xml", Warnings(1, "is wrong"));
  all.Add("c.xml", Warnings(9, "is odd"));
  all.Add("d.bin: ", "is gone");
  EXPECT_EQ(all.Lines(), (TLines{"a.xml: element \"0\" is odd", "a.xml: element \"1\" is odd",
                                 "a.xml: element \"2\" is odd", "c.xml: element \"0\" is odd",
                                 "c.xml: element \"1\" is odd", "and 7 more of: is odd",
                                 "b.xml: element \"0\" is wrong", "d.bin: is gone"}));
}

}  // namespace
}  // namespace svc::repository
