#include "runtime/xmlparser/document_text.h"

#include <gtest/gtest.h>
#include <unistd.h>

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

// Whoever gave it wants to read it.
TEST_F(DocumentLines, AreNoneOfAPipeWhichStaysUnread) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], "<INSTANCE>", 10), 10);
  ::close(ends[1]);
  EXPECT_EQ(LinesOfInstances("/proc/self/fd/" + std::to_string(ends[0]), std::vector{10UL}),
            std::vector<std::size_t>{0});
  char left[20];
  EXPECT_EQ(::read(ends[0], left, sizeof left), 10);
  ::close(ends[0]);
}

TEST_F(DocumentLines, CountAPairOfLineEndsOnceWhereverThePiecesEnd) {
  // What is seen at a time moves on by so much: one pair of line ends lies across each place there.
  constexpr std::size_t kStep = 256u << 10;
  for (std::size_t blanks = kStep - 2; blanks <= kStep + 1; ++blanks) {
    const std::string text = std::string(blanks, ' ') + "\r\n" + std::string(700'000, '\r') +
                             "\n<INSTANCE>\n" + std::string(300'000, ' ') + "<INSTANCE\n>";
    EXPECT_EQ(Lines(text), (std::vector<std::size_t>{700'002, 700'003})) << blanks;
  }
}

TEST_F(DocumentLines, AreNoneWhereNoStartTagOfAnInstanceEnds) {
  const std::string text = "<A>\n<INSTANCE>\n<b><INSTANCE >";
  const std::string path = Write(text);
  for (std::size_t offset = 0; offset <= text.size(); ++offset) {
    const std::size_t line = offset == 14 ? 2 : offset == text.size() ? 3 : 0;
    EXPECT_EQ(LinesOfInstances(path, std::vector{offset}), std::vector{line}) << offset;
  }
  EXPECT_EQ(LinesOfInstances(path, std::vector<std::size_t>{14, 14, text.size()}),
            (std::vector<std::size_t>{2, 2, 3}));
  EXPECT_EQ(LinesOfInstances(path, std::vector<std::size_t>{text.size() + 1}),
            std::vector<std::size_t>{0});
}

TEST_F(DocumentLines, AreThoseOfTheTextInWhicheverEncoding) {
  const std::string text = "<A>\n<INSTANCE>";
  const std::string latin = "<?xml version='1.0' encoding='ISO-8859-1'?>\n\xE9\n<INSTANCE>";
  std::string wide = "\xFF\xFE";
  for (const char c : text) wide += std::string{c, '\0'};
  EXPECT_EQ(LinesOfInstances(Write(wide), OffsetsIn(text)), std::vector<std::size_t>{2});
  EXPECT_EQ(LinesOfInstances(Write("\xEF\xBB\xBF" + text), OffsetsIn(text)),
            std::vector<std::size_t>{2});
  EXPECT_EQ(LinesOfInstances(Write(latin), std::vector{latin.size() + 1}),
            std::vector<std::size_t>{3});
}

}  // namespace
}  // namespace svc::test
