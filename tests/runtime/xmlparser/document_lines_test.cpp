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
  EXPECT_EQ(LinesOfInstances(Write(latin), std::vector{latin.size() + 1, latin.size() + 2}),
            (std::vector<std::size_t>{3, 0}));
}

using xml::TDocumentText;
using xml::TLineCounter;

TEST(LineCounter, CountsOnFromTheLastPlace) {
  std::string bytes = "a\r\nb\rc\n\nd";
  const TDocumentText text(bytes.data(), bytes.data() + bytes.size());
  TLineCounter lines(text);
  const std::vector<std::size_t> expected = {1, 1, 2, 2, 2, 3, 3, 4, 5, 5};
  for (const std::size_t place : {0, 0, 3, 4, 5, 6, 7, 8, 9, 9}) {
    EXPECT_EQ(text.LineAt(bytes.data() + place), lines.LineAt(bytes.data() + place)) << place;
  }
  for (std::size_t place = 0; place < expected.size(); ++place) {
    if (place == 2) continue;  // Between the two of a pair.
    EXPECT_EQ(text.LineAt(bytes.data() + place), expected[place]) << place;
  }
}

// What is rewritten keeps as many line ends as it had, or they are counted apart.
TEST(DocumentText, TellsLinesWhileItIsRewritten) {
  std::string bytes = "1\n2&lt;\n\n\n5\n6";
  char* const begin = bytes.data();
  TDocumentText text(begin, begin + bytes.size());
  TLineCounter lines(text);
  EXPECT_EQ(lines.LineAt(begin + 2), 2u);
  xml::TRewrite rewrite(begin + 3);
  text.Open(rewrite);
  *rewrite.out++ = '<';
  rewrite.in += 4;
  EXPECT_EQ(text.LineAt(begin + 2), 2u);
  EXPECT_EQ(text.LineAt(rewrite.begin), 2u);
  EXPECT_EQ(text.LineAt(rewrite.in), 2u);
  EXPECT_EQ(text.LineAt(rewrite.in + 1), 3u);
  rewrite.in += 2;
  rewrite.lineEnds += 2;
  EXPECT_EQ(text.LineAt(rewrite.in), 4u);
  EXPECT_EQ(text.LineAt(rewrite.in + 1), 5u);
  text.Close();
  EXPECT_EQ(bytes, "1\n2<   \n\n\n5\n6");
  EXPECT_EQ(text.LostLineEnds(), 0);
  EXPECT_EQ(text.LineAt(begin + 10), 5u);
  // A line end that becomes a blank leaves no room for another.
  xml::TRewrite last(begin + 11);
  text.Open(last);
  *last.out++ = ' ';
  ++last.in;
  ++last.lineEnds;
  text.Close();
  EXPECT_EQ(bytes, "1\n2<   \n\n\n5 6");
  EXPECT_EQ(text.LostLineEnds(), 1);
  EXPECT_EQ(text.LineAt(begin + 12), 6u);
  EXPECT_EQ(lines.LineAt(begin + 12), 6u);
}

}  // namespace
}  // namespace svc::test
