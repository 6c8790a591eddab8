// Files as Windows names them: drives, backslashes, line ends, names of any script, long paths.
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/hskcore/os_specific.h"
#include "host/hskcore/root_object.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"

namespace {

namespace fs = std::filesystem;
using NQRXHSK20::CIMContext;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::TNamespacePopulator;
using NQRXHSK20::TOSSpecific;

std::string Utf8(const fs::path& path) {
  const auto text = path.u8string();
  return {text.begin(), text.end()};
}

class HostFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    folder = fs::path("C:\\host files") / test->name();
    Clear();
    fs::create_directories(folder);
  }
  void TearDown() override { Clear(); }

  // A test's leftovers harm no other.
  void Clear() {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  }

  fs::path folder;
};

constexpr const char* kDocument =
    "<?xml version=\"1.0\"?>\r\n<CIM>\r\n<DECLARATION><DECLGROUP><VALUE.OBJECT>\r\n"
    "<CLASS NAME=\"Thing\"/>\r\n</VALUE.OBJECT></DECLGROUP></DECLARATION>\r\n</CIM>\r\n";

void Write(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

boost::shared_ptr<ICIMNamespace> NewNamespace() {
  return NQRXHSK20::TRootObject::GetNamespaceProviderManager()
      ->GetProvider("inmem")
      ->CreateNamespace(CIMContext(), 0, "root/cimv2");
}

TEST_F(HostFiles, AreFoundUnderTheirWindowsNames) {
  Write(folder / "index.xml", kDocument);
  const std::string path = Utf8(folder) + "\\index.xml";
  EXPECT_EQ(TOSSpecific::GetFileSize(path), std::string(kDocument).size());
  EXPECT_EQ(TOSSpecific::ListDir(Utf8(folder)), std::vector<std::string>{"index.xml"});
}

TEST_F(HostFiles, MayHaveLineEndsOfEitherKind) {
  Write(folder / "index.xml", kDocument);
  EXPECT_EQ(
      TNamespacePopulator::PopulateFromXMLFile(NewNamespace(), Utf8(folder / "index.xml")).size(),
      1u);
}

TEST_F(HostFiles, MayHaveNamesOfAnyScript) {
  const fs::path path = folder / L"K\u00E4\u65E5\u0416.xml";
  Write(path, kDocument);
  EXPECT_EQ(TOSSpecific::GetFileSize(Utf8(path)), std::string(kDocument).size());
  EXPECT_EQ(TOSSpecific::ListDir(Utf8(folder)).at(0), Utf8(path.filename()));
}

TEST_F(HostFiles, MayLieDeep) {
  fs::path deep = folder;
  for (int level = 0; level < 12; ++level) deep /= std::string(40, static_cast<char>('a' + level));
  fs::create_directories(deep);
  const fs::path path = deep / "index.xml";
  ASSERT_GT(Utf8(path).size(), 400u);
  Write(path, kDocument);
  EXPECT_EQ(TNamespacePopulator::PopulateFromXMLFile(NewNamespace(), Utf8(path)).size(), 1u);
}

}  // namespace
