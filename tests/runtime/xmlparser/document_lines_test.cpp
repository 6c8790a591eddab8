#include "runtime/xmlparser/document_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace svc::test {
namespace {

using xml::LinesOfInstances;

class DocumentLines : public testing::Test {
 protected:
  std::string Write(const std::string& text) {
    folder.Write("index.xml", text);
    return folder.Path() + "/index.xml";
  }
  // Offsets as the reader tells them: behind the ">" of each start tag of an instance.
  static std::vector<std::size_t> OffsetsIn(const std::string& text) {
    std::vector<std::size_t> offsets;
    for (auto at = text.find("<INSTANCE"); at != text.npos; at = text.find("<INSTANCE", at + 1)) {
      offsets.push_back(text.find('>', at) + 1);
    }
    return offsets;
  }
  std::vector<std::size_t> Lines(const std::string& text) {
    return LinesOfInstances(Write(text), OffsetsIn(text));
  }

  TTemporaryFolder folder;
};

TEST_F(DocumentLines, AreThoseOnWhichTheStartTagsBegin) {
  EXPECT_EQ(Lines("<CIM>\n<INSTANCE\n A=\"1\">\n</INSTANCE><INSTANCE>\n\n<INSTANCE>"),
            (std::vector<std::size_t>{2, 4, 6}));
}

TEST_F(DocumentLines, CountEachKindOfLineEndOnce) {
  EXPECT_EQ(Lines("\r\n<INSTANCE>\r<INSTANCE>\n<INSTANCE>\r\r\n<INSTANCE>"),
            (std::vector<std::size_t>{2, 3, 4, 6}));
}

TEST_F(DocumentLines, AreKnownHoweverFarFromEachOtherInstancesStand) {
  const std::string far = std::string(700'000, ' ') + "\r\n";
  EXPECT_EQ(Lines(far + "<INSTANCE>" + far + far + "<INSTANCE>"), (std::vector<std::size_t>{2, 4}));
}

TEST_F(DocumentLines, AreNoneWhereTheFileIsAnotherOneByNow) {
  const std::string text = "<CIM>\n<INSTANCE>\n<INSTANCE>";
  auto offsets = OffsetsIn(text);
  EXPECT_EQ(LinesOfInstances(Write("<CIM>\n<INSTANCE>\n<instance>"), offsets),
            (std::vector<std::size_t>{2, 0}));
  EXPECT_EQ(LinesOfInstances(Write("<CIM>"), offsets), (std::vector<std::size_t>{0, 0}));
  EXPECT_EQ(LinesOfInstances(folder.Path() + "/gone.xml", offsets),
            (std::vector<std::size_t>{0, 0}));
}

}  // namespace
}  // namespace svc::test
