#include "svcheck/publisher/build.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>

#include "base/error.h"
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

// A query would refuse them, and with them all of the repository.
TEST(Build, TakesDescriptionsOfTheCataloguesDialectAlone) {
  const auto failureOf = [](const std::string& instruction) {
    const test::TTemporaryFolder folder;
    folder.Write("a.xml", "<?xml version=\"1.0\"?>" + instruction +
                              "\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION>"
                              "<DECLGROUP></DECLGROUP></DECLARATION></CIM>");
    try {
      Build({folder.Path(), DATA_FOLDER, {}, {}});
    } catch (const std::exception& error) {
      EXPECT_FALSE(folder.Holds(acquire::kManifestName));
      const std::string place = folder.Path() + "/a.xml: ";
      EXPECT_TRUE(std::string_view(error.what()).starts_with(place)) << error.what();
      return std::string(error.what()).substr(place.size());
    }
    EXPECT_TRUE(folder.Holds(acquire::kManifestName));
    return std::string();
  };
  EXPECT_EQ(failureOf("<?sv-catalogue version=\"4.02\"?>"), "");
  for (const char* other : {"", "<?sv-catalogue version=\"4.01\"?>", "<?sv version=\"4.02\"?>"})
    EXPECT_NE(failureOf(other), "") << other;
}

// A description of one update element for these machine types and systems.
std::string Description(const std::vector<std::string>& types,
                        const std::vector<std::string>& systems) {
  const auto array = [](const std::string& name, const std::vector<std::string>& values) {
    std::string text = "<PROPERTY.ARRAY NAME=\"" + name + "\" TYPE=\"string\"><VALUE.ARRAY>";
    for (const std::string& value : values) text += "<VALUE>" + value + "</VALUE>";
    return text + "</VALUE.ARRAY></PROPERTY.ARRAY>";
  };
  return "<?xml version=\"1.0\"?><?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>"
         "<VALUE.OBJECT><INSTANCE CLASSNAME=\"QRXPSG_SystemUpdateElement\">"
         "<PROPERTY NAME=\"name\" TYPE=\"string\"><VALUE>n</VALUE></PROPERTY>" +
         array("applicableMachineTypes", types) + array("applicableOperatingSystems", systems) +
         "</INSTANCE></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>";
}

// A repository in a folder of its own.
class Publishing : public testing::Test {
 protected:
  using TTime = std::chrono::sys_seconds;

  std::string ManifestPath() const { return folder.Path() + "/" + acquire::kManifestName; }
  TBuildResult Made(std::optional<std::uint64_t> serial = {}) const {
    return Build({folder.Path(), DATA_FOLDER, serial, kExpires});
  }
  template <typename TAct>
  static std::string FailureOf(const TAct& act) {
    try {
      act();
      return "";
    } catch (const TError& error) {
      return error.what();
    }
  }
  void Change(const std::string& from, const std::string& to) const {
    std::string text = ReadText(ManifestPath());
    const std::size_t at = text.find(from);
    ASSERT_NE(at, text.npos) << text;
    WriteText(ManifestPath(), text.replace(at, from.size(), to));
  }

  static constexpr TTime kExpires{std::chrono::seconds(1'900'000'000)};  // 2030-03-17T17:46:40Z
  test::TTemporaryFolder folder;
};

TEST_F(Publishing, ListsEachDescriptionForEachSystemWithItsSizeAndHash) {
  const std::string text = Description({"-[4638]-", "-[4620]-"}, {"RHEL5_64", "RHEL5", "Linux"});
  folder.Write("b/x.xml", text);
  folder.Write("a.xml", Description({"-[Q35]-"}, {"UBUNTU24"}));
  const TBuildResult result = Made();
  const auto& files = result.manifest.files;
  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files[0].path, "a.xml");
  EXPECT_EQ(std::pair(files[0].os, files[0].arch), std::pair(0, 0));
  for (const int number : {1, 2}) {
    EXPECT_EQ(files[number].name, "x.xml");
    EXPECT_EQ(files[number].path, "b/x.xml");
    EXPECT_EQ(files[number].size, text.size());
    EXPECT_EQ(files[number].sha256, SizeAndHash(folder.Path() + "/b/x.xml").second);
    EXPECT_EQ(files[number].machineTypes, (std::vector<std::string>{"4620", "4638"}));
    EXPECT_EQ(std::pair(files[number].os, files[number].arch), std::pair(203, number));
    EXPECT_TRUE(files[number].latest);
    EXPECT_FALSE(files[number].payload);
  }
  EXPECT_EQ(result.warnings.Lines(),
            std::vector<std::string>{"a.xml: element \"n\" names no operating system that has a "
                                     "code: no live check takes it, only `svcheck catalogue fetch` "
                                     "does"});
  EXPECT_EQ(ReadText(ManifestPath()), ManifestText(result.manifest));
}

TEST_F(Publishing, WritesTheManifestInOneForm) {
  acquire::TManifest manifest;
  manifest.serial = 7;
  manifest.expires = kExpires;
  manifest.files = {{"x.xml", "b/x.xml", 5, "ab", {"4620"}, 203, 2, true, false}};
  EXPECT_EQ(ManifestText(manifest), R"({
  "schema": 1,
  "serial": 7,
  "expires": "2030-03-17T17:46:40Z",
  "files": [
    {
      "name": "x.xml",
      "path": "b/x.xml",
      "size": 5,
      "sha256": "ab",
      "machineTypes": [
        "4620"
      ],
      "os": 203,
      "arch": 2,
      "latest": true,
      "payload": false
    }
  ]
}
)");
}

TEST_F(Publishing, TakesTheNextSerialOrAHigherOneThatIsGiven) {
  folder.Write("a.xml", Description({"-[4620]-"}, {"RHEL5", "Linux"}));
  EXPECT_EQ(Made().manifest.serial, 1U);
  EXPECT_EQ(Made().manifest.serial, 2U);
  EXPECT_EQ(Made(3).manifest.serial, 3U);
  EXPECT_EQ(Made(9).manifest.serial, 9U);
  for (const std::uint64_t serial : {std::uint64_t{8}, std::uint64_t{9}, std::uint64_t{0}}) {
    EXPECT_EQ(FailureOf([&] { Made(serial); }),
              "serial " + std::to_string(serial) +
                  " is not above the last one, 9; those who took that would refuse the new "
                  "manifest");
  }
  EXPECT_EQ(Made().manifest.serial, 10U);
}

TEST_F(Publishing, KeepsWhatIsSaidOfADescriptionAndItsPayloads) {
  folder.Write("a.xml", Description({"-[4620]-"}, {"RHEL5", "RHEL5_64", "Linux"}));
  folder.Write("update.bin", "12345");
  Made();
  Change("\"latest\": true", "\"latest\": false");
  Change("  \"files\": [", R"(  "files": [
    {"name": "update.bin", "path": "update.bin", "size": 1, "sha256": ")" +
                               std::string(64, '0') +
                               R"(", "machineTypes": ["4620"], "os": 203, "arch": 1,
     "latest": true, "payload": true},)");
  TBuildResult result = Made();
  ASSERT_EQ(result.manifest.files.size(), 3U);
  EXPECT_FALSE(result.manifest.files[0].latest);
  EXPECT_TRUE(result.manifest.files[1].latest) << "of another architecture";
  EXPECT_EQ(result.manifest.files[2].name, "update.bin");
  EXPECT_EQ(result.manifest.files[2].size, 5U) << "as it is now";
  EXPECT_TRUE(result.manifest.files[2].payload);
  EXPECT_TRUE(result.warnings.Lines().empty());
  std::filesystem::remove(folder.Path() + "/update.bin");
  result = Made();
  EXPECT_EQ(result.manifest.files.size(), 2U);
  EXPECT_EQ(result.warnings.Lines(),
            std::vector<std::string>{"update.bin: the payload is gone and no longer listed"});
}

TEST_F(Publishing, PassesOverLinksThatLeadNowhere) {
  folder.Write("a.xml", Description({"-[4638]-"}, {"RHEL5_64"}));
  for (const char* name : {"b.xml", ".c", ".d.xml"})
    std::filesystem::create_symlink(name, folder.Path() + "/" + name);
  std::filesystem::create_symlink("absent", folder.Path() + "/e.xml");
  const auto files = Made().manifest.files;
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].path, "a.xml");
}

TEST_F(Publishing, RefusesNamesThatNobodyCouldKeep) {
  const std::string text = Description({"-[4620]-"}, {"RHEL5", "Linux"});
  folder.Write("a/x.xml", text);
  folder.Write("b/x.xml", text);
  EXPECT_EQ(FailureOf([&] { Made(); }),
            "b/x.xml and a/x.xml have the same name; give one of them another");
  EXPECT_FALSE(folder.Holds(acquire::kManifestName));
  std::filesystem::remove(folder.Path() + "/b/x.xml");
  folder.Write("b/con.xml", text);
  EXPECT_TRUE(FailureOf([&] {
                Made();
              }).starts_with("b/con.xml cannot be published under its name, which "));
}

TEST_F(Publishing, VerifiesThatEachFileIsTheOneThatIsDescribedAndTheTimeNotOver) {
  const std::string text = Description({"-[4620]-"}, {"RHEL5", "RHEL5_64", "Linux"});
  folder.Write("a.xml", text);
  Made();
  const auto verify = [&](std::chrono::seconds before) {
    return FailureOf([&] { Verify(folder.Path(), std::nullopt, kExpires - before); });
  };
  EXPECT_EQ(verify(std::chrono::seconds(1)), "");
  EXPECT_NE(verify(std::chrono::seconds(-1)), "");
  const std::string other =
      "a.xml is not the file that the manifest describes; build the manifest again and sign it";
  folder.Write("a.xml", text + " ");
  EXPECT_EQ(verify(std::chrono::seconds(1)), other);
  std::string changed = text;
  changed.back() = ' ';
  folder.Write("a.xml", changed);
  EXPECT_EQ(verify(std::chrono::seconds(1)), other);
  std::filesystem::remove(folder.Path() + "/a.xml");
  EXPECT_EQ(verify(std::chrono::seconds(1)), folder.Path() + "/a.xml cannot be read");
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
