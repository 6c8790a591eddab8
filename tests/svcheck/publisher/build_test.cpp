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
  ASSERT_EQ(result.warnings.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(result.warnings[i].place + result.warnings[i].what, expected[i]);
  EXPECT_TRUE(result.manifest.files.empty());
  EXPECT_EQ(result.manifest.serial, 1U);
  EXPECT_TRUE(folder.Holds(acquire::kManifestName));
}

std::vector<TWarning> Warnings(std::size_t count, const std::string& what) {
  std::vector<TWarning> warnings;
  for (std::size_t i = 0; i < count; ++i)
    warnings.push_back({"a.xml: element \"" + std::to_string(i) + "\" ", what});
  return warnings;
}

TEST(Build, NamesTheFirstFiveOfTheSameWarningsAndCountsTheOthers) {
  EXPECT_TRUE(LinesOf({}).empty());
  const std::vector<std::string> five = LinesOf(Warnings(5, "is odd"));
  ASSERT_EQ(five.size(), 5U);
  EXPECT_EQ(five.back(), "a.xml: element \"4\" is odd");
  std::vector<std::string> six = LinesOf(Warnings(6, "is odd"));
  ASSERT_EQ(six.size(), 6U);
  EXPECT_EQ(six.back(), "and 1 more of: is odd");
  six.pop_back();
  EXPECT_EQ(six, five);
}

TEST(Build, CountsEachWarningByItself) {
  std::vector<TWarning> warnings = Warnings(8000, "is odd");
  for (const TWarning& other : Warnings(300, "is wrong")) warnings.push_back(other);
  warnings.push_back({"b.xml: ", "is empty"});
  const std::vector<std::string> lines = LinesOf(warnings);
  ASSERT_EQ(lines.size(), 13U);
  EXPECT_EQ(lines[4], "a.xml: element \"4\" is odd");
  EXPECT_EQ(lines[5], "a.xml: element \"0\" is wrong");
  EXPECT_EQ(lines[10], "b.xml: is empty");
  EXPECT_EQ(lines[11], "and 7995 more of: is odd");
  EXPECT_EQ(lines[12], "and 295 more of: is wrong");
}

}  // namespace
}  // namespace svc::repository
