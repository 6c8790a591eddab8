// Documents that are read through a window, straight from their files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "judges.h"
#include "made_documents.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/document_window.h"
#include "runtime/xmlparser/prepared_documents.h"

namespace svc::xml {
namespace {

using namespace NQRXHSK20;
using TNamespace = boost::shared_ptr<ICIMNamespace>;

// With every kind of token, reference and line end.
const std::string kAllTokens =
    "<?xml version=\"1.0\" encoding='UTF-8' standalone=\"yes\"?>\r\n"
    "<!-- a > b --><!DOCTYPE CIM SYSTEM \"cim>.dtd\"><?sv-catalogue version=\"4.02\"?>\n"
    "<CIM a='1>2' CIMVERSION=\"2.0\"><MESSAGE ID='&lt;1&#62;'><SIMPLERSP><IMETHODRESPONSE NAME='a'>"
    "<IRETURNVALUE><VALUE.OBJECT><CLASS NAME=\"K\"><QUALIFIER NAME='q'><VALUE>x</VALUE></QUALIFIER>"
    "<PROPERTY NAME=\"P\"/><METHOD NAME='m'/></CLASS></VALUE.OBJECT>\r\n"
    "<VALUE.OBJECT><INSTANCE CLASSNAME=\"K\">\r\n<PROPERTY NAME=\"P\"><VALUE>a &amp; > \xC3\xA9\r"
    "<![CDATA[<]]>]><!-- > --><?p >?>&#x20AC;</VALUE></PROPERTY>\n"
    "<PROPERTY.ARRAY NAME='Q'><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/><VALUE>\r\n</VALUE>"
    "</VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE></VALUE.OBJECT>\n"
    "<VALUE.OBJECT><INSTANCE CLASSNAME=\"k\"><PROPERTY NAME='P'><VALUE></VALUE></PROPERTY>"
    "</INSTANCE></VALUE.OBJECT></IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE ></CIM>\n"
    "<!-- behind > --><?p > ?>\r\n";

void ExpectSame(const std::string& document, std::size_t window) {
  const std::string difference = DifferenceOfStreaming(document, {.window = window});
  ASSERT_EQ(difference, "") << "window " << window << " of\n" << document;
}

TEST(Streaming, EveryTokenMayBeCutAtEveryByte) {
  for (std::size_t window = 1; window <= kAllTokens.size() + 1; ++window)
    ExpectSame(kAllTokens, window);
}

TEST(Streaming, TheSameStandsBehindManyWindows) {
  std::string repeated;
  const std::size_t begin = kAllTokens.find("<VALUE.OBJECT><INSTANCE");
  const std::size_t end = kAllTokens.find("</IRETURNVALUE>");
  for (int i = 0; i < 40; ++i) repeated += kAllTokens.substr(begin, end - begin);
  const std::string document = std::string(kAllTokens).insert(begin, repeated);
  for (std::size_t window = 600; window < 1000; window += 7) ExpectSame(document, window);
}

TEST(Streaming, ATruncatedDocumentIsRefusedWhereverItEnds) {
  for (std::size_t size = 0; size < kAllTokens.size(); size += 3) {
    for (const std::size_t window : {std::size_t{1}, std::size_t{100}, size / 2 + 1, size + 1})
      ExpectSame(kAllTokens.substr(0, size), window);
  }
}

TEST(Streaming, MadeDocumentsAndBrokenOnesAreTheSame) {
  for (std::uint64_t seed = 1; seed <= 400; ++seed) {
    TChance chance(seed);
    const std::string made = seed % 2 == 0 ? MakeDocument(chance) : MakeRegularDocument(chance);
    const std::string broken = Mutate(made, chance);
    for (const std::string& document : {made, broken})
      ExpectSame(document, 1 + chance.Below(document.size() + 1));
  }
}

TEST(Streaming, OtherEncodingsAndMarksGoThePlainWay) {
  const std::string body = "<CIM><DECLARATION/></CIM>";
  for (const std::string& document :
       {"\xEF\xBB\xBF" + body, "<?xml version='1.0' encoding='ISO-8859-1'?>" + body,
        "<?xml version='1.0' encoding='US-ASCII'?>" + body,
        "<?xml version='1.0' encoding='EBCDIC'?>" + body,
        "<?xml version='1.0'" + std::string(1024, ' ') + "?>" + body,
        std::string("\xFF\xFE<\0C\0I\0M\0/\0>\0", 14), std::string("<\0C\0I\0M\0/\0>\0", 12)}) {
    const TDocumentFile file(document);
    EXPECT_FALSE(Stream(MakeInMemoryNamespace(), file.Path(), EDialect::kAny, true)) << document;
    ExpectSame(document, 100);
  }
  const TDocumentFile plain(body);
  EXPECT_TRUE(Stream(MakeInMemoryNamespace(), plain.Path(), EDialect::kAny, true));
}

TEST(Streaming, WhatIsNoFileGoesThePlainWay) {
  const TNamespace target = MakeInMemoryNamespace();
  EXPECT_FALSE(Stream(target, "/nowhere/index.xml", EDialect::kAny, true));
  EXPECT_FALSE(Stream(target, "/", EDialect::kAny, true));
  EXPECT_FALSE(Stream({}, TDocumentFile(kAllTokens).Path(), EDialect::kAny, true));
}

// Such a namespace would be copied for each document that is added to it.
TEST(Streaming, ASmallDocumentUponManyInstancesGoesThePlainWay) {
  const TNamespace target = MakeInMemoryNamespace();
  std::string objects =
      "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME='A'/></VALUE.OBJECT>";
  for (int i = 0; i < 520; ++i) objects += "<VALUE.OBJECT><INSTANCE CLASSNAME='A'/></VALUE.OBJECT>";
  objects += "</DECLGROUP></DECLARATION></CIM>";
  const TDocumentFile first(objects);
  ASSERT_TRUE(Stream(target, first.Path(), EDialect::kAny, true));
  EXPECT_FALSE(Stream(target, TDocumentFile("<CIM/>").Path(), EDialect::kAny, true));
  EXPECT_TRUE(Stream(target, first.Path(), EDialect::kAny, true));
}

class Window : public ::testing::Test {
 protected:
  // A file of `size` bytes that ends with a '>', and has others where told.
  void Make(std::size_t size, std::initializer_list<std::size_t> tags) {
    std::string bytes(size, '.');
    for (const std::size_t tag : tags) bytes[tag] = '>';
    bytes.back() = '>';
    document = std::make_unique<TDocumentFile>(bytes);
    file.reset(OpenNativeFile(document->Path(), "rb"));
  }

  struct TClose {
    void operator()(std::FILE* open) const { std::fclose(open); }
  };
  std::unique_ptr<TDocumentFile> document;
  std::unique_ptr<std::FILE, TClose> file;
};

TEST_F(Window, EndsBehindATagUntilTheDocumentEnds) {
  Make(100, {20, 70});
  TDocumentWindow window(file.get(), 100, 64);
  EXPECT_EQ(window.End() - window.Begin(), 21);
  EXPECT_FALSE(window.IsAtEnd());
  window.MoveTo(window.Begin() + 21);
  EXPECT_EQ(window.OffsetOf(window.Begin()), 21u);
  EXPECT_EQ(window.End() - window.Begin(), 71 - 21);
  window.MoveTo(window.Begin() + 50);
  EXPECT_EQ(window.End() - window.Begin(), 100 - 71);
  EXPECT_TRUE(window.IsAtEnd());
}

// As far as two blocks of sixteen bytes from the end, and no further than it begins.
TEST_F(Window, EndsBehindTheLastTagWhereverItStands) {
  for (std::size_t tag = 0; tag < 40; ++tag) {
    Make(100, {tag / 2, tag});
    for (std::size_t usual = 1; usual <= 40; ++usual) {
      const TDocumentWindow window(file.get(), 100, usual);
      const std::size_t expected = tag < usual ? tag + 1 : tag / 2 < usual ? tag / 2 + 1 : 0;
      EXPECT_EQ(window.End() - window.Begin(), expected) << tag << ' ' << usual;
    }
  }
}

TEST_F(Window, IsLowWithLessThanAnEighthLeft) {
  Make(200, {79});
  const TDocumentWindow window(file.get(), 200, 80);
  EXPECT_FALSE(window.IsLow(window.Begin() + 70));
  EXPECT_TRUE(window.IsLow(window.Begin() + 71));
  const TDocumentWindow whole(file.get(), 200, 200);
  EXPECT_FALSE(whole.IsLow(whole.End()));
}

TEST_F(Window, IsNotLowWhereItIsFullOfWhatDoesNotEnd) {
  Make(400, {11});
  TDocumentWindow window(file.get(), 400, 80);
  EXPECT_FALSE(window.IsLow(window.Begin() + 10));
  EXPECT_TRUE(window.IsLow(window.Begin() + 11));
  window.MoveTo(window.Begin() + 12);
  EXPECT_EQ(window.End() - window.Begin(), 0);
  EXPECT_FALSE(window.IsLow(window.Begin()));
  window.Widen(12);
  EXPECT_EQ(window.End() - window.Begin(), 400 - 12);
}

TEST_F(Window, GoesBackToWhatTheFileHas) {
  Make(100'000, {10, 600});
  TDocumentWindow window(file.get(), 100'000, 100);
  window.Begin()[5] = 'x';
  window.Widen(3);
  EXPECT_EQ(window.OffsetOf(window.Begin()), 3u);
  EXPECT_EQ(window.Begin()[2], '.');
  EXPECT_EQ(window.End() - window.Begin(), 601 - 3);
}

// However large an object is: a sixteenth of the document may be read twice, then all is there.
TEST_F(Window, SeesAllBeforeMuchIsReadTwice) {
  constexpr std::size_t kSize = 1 << 20;
  Make(kSize, {});
  TDocumentWindow window(file.get(), kSize, 1000);
  std::size_t readTwice = 0;
  int widened = 0;
  for (std::size_t seen = 1000; !window.IsAtEnd(); ++widened) {
    readTwice += seen;
    window.Widen(0);
    seen = std::min<std::size_t>(seen * 8, kSize);
  }
  EXPECT_LE(readTwice, kSize / 16);
  EXPECT_EQ(widened, 2);
  EXPECT_EQ(window.End() - window.Begin(), kSize);
}

// Seen as a whole by a window, it would only be read twice.
TEST_F(Window, LeavesALargeDocumentOfOneObjectToThePlainWay) {
  constexpr std::size_t kSize = 2 << 20;
  Make(kSize, {});
  const auto widen = [this](std::size_t offset) {
    TDocumentWindow window(file.get(), kSize, 4000);
    while (!window.IsAtEnd()) window.Widen(offset);
    return window.End() - window.Begin();
  };
  EXPECT_THROW(widen(0), TDocumentError);
  EXPECT_THROW(widen(kSize / 16 - 1), TDocumentError);
  EXPECT_EQ(widen(kSize / 16), kSize - kSize / 16);
  const TDocumentFile large("<CIM a='" + std::string(kSize, 'x') + "'/>");
  EXPECT_FALSE(Stream(MakeInMemoryNamespace(), large.Path(), EDialect::kAny, true));
  EXPECT_EQ(TNamespacePopulator::PopulateFromXMLFile(MakeInMemoryNamespace(), large.Path()).size(),
            0u);
}

TEST_F(Window, EndsWithAFileThatHasBecomeShorter) {
  Make(100, {20});
  TDocumentWindow window(file.get(), 150, 60);
  window.MoveTo(window.Begin() + 21);
  window.MoveTo(window.End());
  EXPECT_TRUE(window.IsAtEnd());
  EXPECT_EQ(window.OffsetOf(window.End()), 100u);
}

// As a plug-in loads a catalogue, step by step.
class Prepared : public ::testing::Test {
 protected:
  static std::string Document(const std::string& objects) {
    return "<?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>" + objects +
           "</DECLGROUP></DECLARATION></CIM>";
  }
  static std::string InstanceOf(const std::string& text) {
    return "<VALUE.OBJECT><INSTANCE CLASSNAME='A'><PROPERTY NAME='P'><VALUE>" + text +
           "</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>";
  }
  TNamespace Filled() const {
    const TNamespace space = MakeInMemoryNamespace();
    TNamespacePopulator::PopulateFromXMLFile(space, definitions.Path());
    return space;
  }
  // What a plug-in reads at the path.
  static std::string ReadBlock(const std::string& path) {
    const auto size = static_cast<std::size_t>(TOSSpecific::GetFileSize(path));
    std::FILE* const opened = OpenNativeFile(TOSSpecific::NativePath(path), "rb");
    std::string block(size, '\0');
    block.resize(std::fread(block.data(), 1, size, opened));
    std::fclose(opened);
    return block;
  }
  static std::size_t Parse(const TNamespace& target, const std::string& block) {
    const std::unique_ptr<char, decltype(&std::free)> text(
        static_cast<char*>(std::calloc(block.size() + 1, 1)), &std::free);
    std::memcpy(text.get(), block.data(), block.size());
    TCIMXMLParser parser(target);
    parser.SetSV402Mode();
    parser.Parse(text.get());
    return parser.GetClassesCollected().size();
  }
  // But those that the host loads itself.
  TPreparedDocuments::TIsWanted All() const {
    return [this](const std::string& path) { return path != definitions.Path(); };
  }
  static bool HasTickets() { return !TMemoryFile("x").Path().empty(); }
  void SetUp() override {
    if (!HasTickets()) GTEST_SKIP() << "no files in memory here";
  }

  TDocumentFile definitions{Document("<VALUE.OBJECT><CLASS NAME='A'/></VALUE.OBJECT>")};
  TDocumentFile index{Document(InstanceOf(std::string(500, 'x')))};
  const std::string read = "class A:{P=" + std::string(500, 'x') + ";}";
};

TEST_F(Prepared, ADocumentIsATicketThatTheParserKnows) {
  const TPreparedDocuments prepared(All());
  const TNamespace space = Filled();
  const std::string ticket = ReadBlock(index.Path());
  EXPECT_LT(ticket.size(), 100u);
  EXPECT_EQ(Parse(space, ticket), 0u);
  EXPECT_EQ(AllIn(space), read);
}

TEST_F(Prepared, TheClassesCollectedAreThoseOfTheDocument) {
  const TPreparedDocuments prepared(All());
  const TDocumentFile two(
      Document("<VALUE.OBJECT><CLASS NAME='B'/></VALUE.OBJECT><VALUE.OBJECT><CLASS "
               "NAME='A'/></VALUE.OBJECT>"));
  EXPECT_EQ(Parse(Filled(), ReadBlock(two.Path())), 2u);
}

// As where it is read plainly: the document ends with its root, whatever stands behind.
TEST_F(Prepared, WhatStandsBehindTheRootIsNotRead) {
  const TPreparedDocuments prepared(All());
  const TNamespace space = Filled();
  index.Rewrite(Document(InstanceOf(std::string(500, 'x'))) + "<wrong");
  const std::string ticket = ReadBlock(index.Path());
  EXPECT_LT(ticket.size(), 100u);
  Parse(space, ticket);
  EXPECT_EQ(AllIn(space), read);
}

TEST_F(Prepared, OnlyWhatIsWantedIs) {
  const TPreparedDocuments prepared([&](const std::string& path) { return path == "other.xml"; });
  const TNamespace space = Filled();
  EXPECT_EQ(ReadBlock(index.Path()), Document(InstanceOf(std::string(500, 'x'))));
  EXPECT_EQ(AllIn(space), "class A:");
}

TEST_F(Prepared, NothingIsWithoutANamespaceOrWhenItIsGone) {
  const TPreparedDocuments prepared(All());
  EXPECT_GT(ReadBlock(index.Path()).size(), 500u);
  Filled();
  EXPECT_GT(ReadBlock(index.Path()).size(), 500u);
}

TEST_F(Prepared, NothingIsLeftWhenNobodyPreparesAnyMore) {
  const TNamespace space = Filled();
  std::string ticket;
  {
    const TPreparedDocuments prepared(All());
    TNamespacePopulator::PopulateFromXMLFile(space, definitions.Path());
    ticket = ReadBlock(index.Path());
    EXPECT_EQ(AllIn(space), read);
  }
  EXPECT_EQ(AllIn(space), "class A:");
  EXPECT_GT(ReadBlock(index.Path()).size(), 500u);
  EXPECT_THROW(Parse(space, ticket), THSKException);
}

TEST_F(Prepared, ADocumentWithAnErrorIsReadPlainly) {
  const TPreparedDocuments prepared(All());
  const TNamespace space = Filled();
  const std::string broken = Document(InstanceOf("one") + "\n\n<WRONG/>");
  index.Rewrite(broken);
  EXPECT_EQ(ReadBlock(index.Path()), broken);
  EXPECT_EQ(AllIn(space), "class A:");
  try {
    Parse(space, broken);
    FAIL() << "nothing was thrown";
  } catch (const THSKException& error) {
    EXPECT_NE(error.GetMessageText().find("line 3"), std::string::npos) << error.GetMessageText();
  }
  EXPECT_EQ(AllIn(space), "class A:{P=one;}");
}

TEST_F(Prepared, AFileThatChangesBeforeItIsParsedIsReadAgain) {
  const TPreparedDocuments prepared(All());
  const TNamespace space = Filled();
  const std::string ticket = ReadBlock(index.Path());
  index.Rewrite(Document(InstanceOf("new") + InstanceOf("newer")));
  Parse(space, ticket);
  EXPECT_EQ(AllIn(space), "class A:{P=new;}{P=newer;}");
}

TEST_F(Prepared, AFileThatIsGoneBeforeItIsParsedIsUnreadable) {
  const TPreparedDocuments prepared(All());
  const TNamespace space = Filled();
  auto gone = std::make_unique<TDocumentFile>(Document(InstanceOf("gone")));
  const std::string ticket = ReadBlock(gone->Path());
  gone.reset();
  try {
    Parse(space, ticket);
    FAIL() << "nothing was thrown";
  } catch (const THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kFileUnreadable);
  }
  EXPECT_EQ(AllIn(space), "class A:");
}

TEST_F(Prepared, ATicketCountsOnceAndThenTheFileDoes) {
  const TPreparedDocuments prepared(All());
  const TNamespace space = Filled();
  index.Rewrite(Document(InstanceOf("one")));
  const std::string ticket = ReadBlock(index.Path());
  Parse(space, ticket);
  Parse(space, ticket);
  EXPECT_EQ(AllIn(space), "class A:{P=one;}{P=one;}");
}

TEST_F(Prepared, AnotherNamespaceReadsTheFileItself) {
  const TPreparedDocuments prepared(All());
  const TNamespace other = Filled();
  const TNamespace space = Filled();
  const std::string ticket = ReadBlock(index.Path());
  Parse(other, ticket);
  EXPECT_EQ(AllIn(other), read);
  EXPECT_EQ(AllIn(space), "class A:");
}

TEST_F(Prepared, SeveralDocumentsAreWhereverTheyAreParsed) {
  const TPreparedDocuments prepared(All());
  const TNamespace space = Filled();
  const TDocumentFile first(Document(InstanceOf("1")));
  const TDocumentFile second(Document(InstanceOf("2")));
  Parse(space, ReadBlock(first.Path()));
  Parse(space, ReadBlock(second.Path()));
  EXPECT_EQ(AllIn(space), "class A:{P=1;}{P=2;}");
  const std::string third = ReadBlock(first.Path());
  const std::string fourth = ReadBlock(second.Path());
  Parse(space, fourth);
  Parse(space, third);
  EXPECT_EQ(AllIn(space), "class A:{P=1;}{P=2;}{P=2;}{P=1;}");
}

TEST_F(Prepared, ATextOfItsFormThatNobodyMadeIsNoTicket) {
  const TPreparedDocuments prepared(All());
  EXPECT_THROW(Parse(Filled(), "<?svcheck-ticket -1-2-3-4?>"), THSKException);
}

TEST_F(Prepared, WhileDocumentsAreSharedAFileIsReadOnce) {
  auto sharing = std::make_unique<TDocumentSharing>();
  const TPreparedDocuments prepared(All());
  const TNamespace first = Filled();
  Parse(first, ReadBlock(index.Path()));
  index.Rewrite(Document(InstanceOf("no longer")));
  const TNamespace second = Filled();
  Parse(second, ReadBlock(index.Path()));
  EXPECT_EQ(AllIn(second), read);
  EXPECT_TRUE(SharedStateOf(first));
  EXPECT_EQ(SharedStateOf(second), SharedStateOf(first));
  sharing.reset();
  const TNamespace third = Filled();
  Parse(third, ReadBlock(index.Path()));
  EXPECT_EQ(AllIn(third), "class A:{P=no longer;}");
}

// Bytes that the process has read of files so far; none where the system does not count them.
std::optional<std::uint64_t> BytesRead() {
  std::ifstream counts("/proc/self/io");
  std::string name;
  std::uint64_t count = 0;
  if (counts >> name >> count && name == "rchar:") return count;
  return {};
}

TEST_F(Prepared, WhileDocumentsAreSharedDefinitionsAreReadAgainOnceTheyChange) {
  constexpr std::size_t kLong = 100'000;
  const std::string comment = "<!--" + std::string(kLong, 'x') + "-->";
  const auto classes = [&](const std::string& name) {
    return Document("<VALUE.OBJECT><CLASS NAME='" + name + "'/></VALUE.OBJECT>" + comment);
  };
  definitions.Rewrite(classes("A"));
  const TDocumentSharing sharing;
  const TPreparedDocuments prepared(All());
  const auto begin = BytesRead();
  const TNamespace first = Filled();
  const auto once = BytesRead();
  const TNamespace second = Filled();
  const auto again = BytesRead();
  EXPECT_EQ(SharedStateOf(second), SharedStateOf(first));
  EXPECT_EQ(AllIn(second), "class A:");
  definitions.Rewrite(classes("B"));
  EXPECT_EQ(AllIn(Filled()), "class B:");
  definitions.Rewrite("<CIM>");
  EXPECT_THROW(Filled(), THSKException);
  EXPECT_THROW(Filled(), THSKException);
  if (!again) GTEST_SKIP() << "what is read is not counted here";
  EXPECT_GT(*once - *begin, kLong);
  EXPECT_LT(*again - *once, kLong);
}

TEST_F(Prepared, WhileDocumentsAreSharedInventoriesAreReadEachTime) {
  const TDocumentSharing sharing;
  if (!BytesRead()) GTEST_SKIP() << "what is read is not counted here";
  definitions.Rewrite(Document("<!--" + std::string(100'000, 'x') + "-->"));
  Filled();
  const auto once = BytesRead();
  Filled();
  EXPECT_GT(*BytesRead() - *once, 100'000U);
}

TEST_F(Prepared, WhileDocumentsAreSharedEachHasATicketOfItsOwn) {
  const TDocumentFile other(Document(InstanceOf("another")));
  const TDocumentSharing sharing;
  std::vector<std::string> tickets;
  for (const std::string& path : {index.Path(), index.Path(), other.Path(), index.Path()}) {
    const TPreparedDocuments prepared(All());
    const TNamespace space = Filled();
    tickets.push_back(ReadBlock(path));
    Parse(space, tickets.back());
    EXPECT_EQ(AllIn(space), path == index.Path() ? read : "class A:{P=another;}");
  }
  EXPECT_EQ(tickets[0], tickets[1]) << "a document keeps its ticket";
  EXPECT_NE(tickets[1], tickets[2]);
  EXPECT_NE(tickets[2], tickets[3]);
  EXPECT_NE(tickets[1], tickets[3]) << "no ticket is made twice";
}

TEST_F(Prepared, WhatIsSharedIsTakenBackUnread) {
  const TDocumentSharing sharing;
  const TNamespace space = Filled();
  {
    const TPreparedDocuments prepared(All());
    TNamespacePopulator::PopulateFromXMLFile(Filled(), definitions.Path());
    TPreparedDocuments::Active()->Follow(space);
    ReadBlock(index.Path());
    EXPECT_EQ(AllIn(space), read);
  }
  EXPECT_EQ(AllIn(space), "class A:");
}

}  // namespace
}  // namespace svc::xml
