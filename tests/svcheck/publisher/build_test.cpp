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
  EXPECT_EQ(result.warnings, expected);
  EXPECT_TRUE(result.manifest.files.empty());
  EXPECT_EQ(result.manifest.serial, 1U);
  EXPECT_TRUE(folder.Holds(acquire::kManifestName));
}

}  // namespace
}  // namespace svc::repository
