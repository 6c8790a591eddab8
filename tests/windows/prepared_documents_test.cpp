// Documents that are read straight into a namespace before a plug-in asks for them: what it finds
// in their place here, where the system has no files without a name.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/prepared_documents.h"

namespace svc {
namespace {

namespace fs = std::filesystem;
using namespace NQRXHSK20;
using TNamespace = boost::shared_ptr<ICIMNamespace>;

std::string Document(const std::string& objects) {
  return "<?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>" + objects +
         "</DECLGROUP></DECLARATION></CIM>";
}

std::string InstanceOf(const std::string& text) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME='A'><PROPERTY NAME='P'><VALUE>" + text +
         "</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>";
}

class Prepared : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() / "prepared documents";
    fs::create_directories(folder);
    Write("definitions.xml", Document("<VALUE.OBJECT><CLASS NAME='A'/></VALUE.OBJECT>"));
    Write("index.xml", plain);
    prepared.emplace([this](const std::string& path) { return path == At("index.xml"); });
    space = MakeInMemoryNamespace();
    TNamespacePopulator::PopulateFromXMLFile(space, At("definitions.xml"));
  }
  void TearDown() override {
    prepared.reset();
    fs::remove_all(folder);
  }

  std::string At(const char* name) const { return (folder / name).string(); }
  void Write(const char* name, const std::string& text) const {
    std::ofstream(folder / name, std::ios::binary) << text;
  }
  // What a plug-in reads in place of the document.
  std::string Read() const {
    const std::string path = At("index.xml");
    std::string block(static_cast<std::size_t>(TOSSpecific::GetFileSize(path)), '\0');
    std::FILE* const opened = std::fopen(TOSSpecific::NativePath(path).c_str(), "r");
    if (opened == nullptr) return "it cannot be opened";
    block.resize(std::fread(block.data(), 1, block.size(), opened));
    std::fclose(opened);
    return block;
  }
  void Parse(const std::string& block) const {
    const std::unique_ptr<char, decltype(&std::free)> text(
        static_cast<char*>(std::calloc(block.size() + 1, 1)), &std::free);
    std::memcpy(text.get(), block.data(), block.size());
    TCIMXMLParser parser(space);
    parser.SetSV402Mode();
    parser.Parse(text.get());
  }
  std::vector<std::string> Values() const {
    std::vector<boost::shared_ptr<ICIMInstance>> instances;
    boost::shared_ptr<ICIMClass> a;
    space->GetClass(a, "A", CIMContext());
    a->EnumerateInstances(TAddToVectorCallback(instances), true, CIMContext());
    std::vector<std::string> values;
    for (const auto& instance : instances) {
      boost::shared_ptr<ICIMProperty> property;
      instance->GetProperty(property, "P", CIMContext());
      values.push_back(property->Value(CIMContext()).ToString(10));
    }
    return values;
  }

  const std::string text = std::string(500, 'x');
  const std::string plain = Document(InstanceOf(text));
  fs::path folder;
  std::optional<TPreparedDocuments> prepared;
  TNamespace space;
};

TEST_F(Prepared, AreTicketsThatTheParserKnows) {
  const std::string ticket = Read();
  EXPECT_LT(ticket.size(), 100u);
  Parse(ticket);
  EXPECT_EQ(Values(), std::vector{text});
}

TEST_F(Prepared, HaveTicketsThatNobodyWritesToOrTakesAway) {
  Read();
  const std::string ticket = TOSSpecific::NativePath(At("index.xml"));
  EXPECT_NE(ticket, At("index.xml"));
  EXPECT_EQ(std::fopen(ticket.c_str(), "r+"), nullptr);
  EXPECT_EQ(DeleteFileA(ticket.c_str()), FALSE);
  EXPECT_EQ(MoveFileA(ticket.c_str(), At("taken").c_str()), FALSE);
  EXPECT_TRUE(fs::exists(ticket));
  prepared.reset();
  EXPECT_FALSE(fs::exists(ticket)) << "it goes with who prepared it";
}

TEST_F(Prepared, AreReadAnewWhereTheirFilesChange) {
  const std::string ticket = Read();
  Write("index.xml", Document(InstanceOf("new") + InstanceOf("newer")));
  Parse(ticket);
  EXPECT_EQ(Values(), (std::vector<std::string>{"new", "newer"}));
}

TEST_F(Prepared, AreReadPlainlyWhereAnythingIsWrong) {
  const std::string broken = Document(InstanceOf("one") + "<WRONG/>");
  Write("index.xml", broken);
  EXPECT_EQ(Read(), broken);
  EXPECT_EQ(Values(), std::vector<std::string>());
  EXPECT_THROW(Parse(broken), THSKException);
  EXPECT_EQ(Values(), std::vector<std::string>{"one"});
}

TEST_F(Prepared, AreFilesLikeAnyOtherBeforeAndAfter) {
  prepared.reset();
  EXPECT_EQ(Read(), plain);
  EXPECT_EQ(TOSSpecific::GetFileSize(At("index.xml")), plain.size());
  EXPECT_EQ(TOSSpecific::NativePath("C:\\a\\b.xml"), "C:\\a\\b.xml");
}

}  // namespace
}  // namespace svc
