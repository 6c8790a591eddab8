// What is refused, with which status, and how the text says where.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <thread>

#include "host/hskcore/exception.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "loading.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/document_window.h"

namespace {

std::size_t largestGrant = SIZE_MAX;  // Of what realloc is asked for.

}  // namespace

extern "C" {

void* __real_realloc(void* bytes, std::size_t size);

// The program that holds this is linked so that the parser's calls come here.
void* __wrap_realloc(void* bytes, std::size_t size) {
  return size > largestGrant ? nullptr : __real_realloc(bytes, size);
}

}  // extern "C"

namespace svc::xml {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

// `objects` begin on line 3 of the document.
struct TCase {
  std::string objects;
  int line;
  std::string cause;
  int status = 1;
};

const std::vector<TCase> kRefused = {
    {"\n<VALUE.OBJECT><INSTANCE CLASSNAME='Unknown'/></VALUE.OBJECT>", 4, "Unknown", 15},
    {"<VALUE.OBJECT><INSTANCE/></VALUE.OBJECT>", 3, "CLASSNAME"},
    {"<VALUE.OBJECT>\n<CLASS NAME='C' SUPERCLASS='None'/></VALUE.OBJECT>", 4, "None"},
    {"<VALUE.OBJECT>\n</VALUE.OBJECT>", 4, "holds no class"},
    {"<VALUE.OBJECT><CLASS NAME='C'/>\n<CLASS NAME='D'/></VALUE.OBJECT>", 4, "not expected"},
    {"<UNKNOWN/>", 3, "UNKNOWN"},
    {"some text", 3, "text stands"},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'>\n<PROPERTY/></INSTANCE></VALUE.OBJECT>", 4, "NAME"},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'>\r\n<PROPERTY NAME='P'/>\r<PROPERTY NAME='p'/>"
     "</INSTANCE></VALUE.OBJECT>",
     5, "twice"},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='P' TYPE='uint8'>\n"
     "<VALUE>256</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>",
     4, "256"},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='P' TYPE='int'/></INSTANCE>"
     "</VALUE.OBJECT>",
     3, "\"int\""},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='P' TYPE='reference'/></INSTANCE>"
     "</VALUE.OBJECT>",
     3, "\"reference\""},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='P'><VALUE>a</VALUE>\n<VALUE>b</VALUE>"
     "</PROPERTY></INSTANCE></VALUE.OBJECT>",
     4, "second value"},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='P'><VALUE>\n<X/></VALUE>"
     "</PROPERTY></INSTANCE></VALUE.OBJECT>",
     4, "element X"},
    {"<VALUE.OBJECT><INSTANCE CLASSNAME='K'><METHOD NAME='m'/></INSTANCE></VALUE.OBJECT>", 3,
     "METHOD"},
    {"<!-- one\ntwo --><VALUE.OBJECT><CLASS NAME='a&#10;b\nc'>\n&nope;", 6, "nope"},
    {"<VALUE.OBJECT><CLASS NAME='C'>\n<QUALIFIER NAME='q'><VALUE>a&lt;\r\n\r\nb&bad;", 6, "bad"},
    {"\n\n</WRONG>", 5, "WRONG"},
    {"<VALUE.OBJECT>\n", 4, "ends"},
};

TEST(Refusal, NamesLineAndCause) {
  for (const TCase& row : kRefused) {
    const TLoaded loaded = LoadBlock(WithClass(row.objects));
    EXPECT_EQ(loaded.status, row.status) << row.objects;
    if (row.cause == "ends") continue;
    const std::string place = "line " + std::to_string(row.line) + ": ";
    EXPECT_EQ(loaded.message.substr(0, place.size()), place) << loaded.message << row.objects;
    EXPECT_NE(loaded.message.find(row.cause), std::string::npos) << loaded.message;
  }
}

const std::string kEnds = "the text ends before the root element does";

TEST(Refusal, SaysWhatEndsATextTooSoon) {
  const std::string_view markup[] = {"<!-- c -->", "<![CDATA[x]]>", "<?p x?>", "&amp;", "</CIM>"};
  for (const std::string_view whole : markup) {
    for (std::size_t size = 0; size < whole.size(); ++size)
      EXPECT_EQ(LoadBlock("<CIM>\n" + std::string(whole.substr(0, size))).message,
                "line 2: " + kEnds)
          << whole.substr(0, size);
  }
  for (const std::string_view whole : {"<!DOCTYPE"sv, "<!-- c -->"sv}) {
    for (std::size_t size = 0; size < whole.size(); ++size)
      EXPECT_EQ(LoadBlock("\n" + std::string(whole.substr(0, size))).message, "line 2: " + kEnds)
          << whole.substr(0, size);
  }
  EXPECT_EQ(LoadBlock("<CIM><!b").message, "line 1: malformed comment or CDATA section");
  EXPECT_EQ(LoadBlock("\nx<CIM/>").message, "line 2: text stands before the root element");
}

TEST(Refusal, SaysOfAByteWhyItIsNone) {
  EXPECT_EQ(LoadBlock("<CIM>\n\0b</CIM>"s).message,
            "line 2: control character 0x00 is not allowed");
  EXPECT_EQ(LoadBlock("<CIM>\n\x01</CIM>").message,
            "line 2: control character 0x01 is not allowed");
  EXPECT_EQ(LoadBlock("<CIM>\n\xC0\x80</CIM>").message,
            "line 2: byte 0xC0 begins no valid UTF-8 character");
  EXPECT_EQ(LoadBlock("<CIM a='\x80'/>").message,
            "line 1: byte 0x80 begins no valid UTF-8 character");
  EXPECT_EQ(LoadBlock("<CIM>\n\0\0"s).message, "line 2: " + kEnds);
}

TEST(Refusal, SaysWhichEncodingsThereAre) {
  const TLoaded named = LoadBlock("<?xml version='1.0' encoding='KOI8-R'?><CIM/>");
  EXPECT_EQ(named.message,
            "line 1: the encoding \"KOI8-R\" is not supported; save the document as UTF-8");
  EXPECT_EQ(named.status, 1);
  const TLoaded unmarked = LoadBlock("<\0C\0I\0M\0/\0>\0"s);
  EXPECT_EQ(unmarked.message, "line 1: UTF-16 without a byte order mark is not supported");
  EXPECT_EQ(unmarked.status, 1);
}

TEST(Refusal, NamesTheFile) {
  const TLoaded loaded = LoadFile(WithClass("<UNKNOWN/>"));
  EXPECT_NE(loaded.message.find("NamesTheFile.xml:3: element UNKNOWN"), std::string::npos)
      << loaded.message;
}

TEST(Refusal, TwoSuperclassesAreAnError) {
  const TLoaded loaded = LoadBlock(InFrame(
      "<VALUE.OBJECT><CLASS NAME='A'/></VALUE.OBJECT><VALUE.OBJECT><CLASS NAME='B'/></VALUE.OBJECT>"
      "<VALUE.OBJECT><CLASS NAME='C' SUPERCLASS='A'/></VALUE.OBJECT>"
      "<VALUE.OBJECT><CLASS NAME='C' SUPERCLASS='B'/></VALUE.OBJECT>"));
  EXPECT_EQ(loaded.status, 1);
  EXPECT_NE(loaded.message.find("superclass"), std::string::npos) << loaded.message;
}

TEST(Refusal, AServersErrorIsShown) {
  const TLoaded loaded = LoadBlock(
      "<CIM><MESSAGE><SIMPLERSP><IMETHODRESPONSE NAME='x'><ERROR CODE='5' DESCRIPTION='no class'/>"
      "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>");
  EXPECT_EQ(loaded.status, 1);
  EXPECT_EQ(loaded.message, "line 1: the document is a server's error, code 5: no class");
}

TEST(Refusal, SaysWhatAnObjectOrAVersionLacks) {
  const auto holder = [](const std::string& holds) {
    return LoadBlock(WithClass("<VALUE.OBJECT>" + holds + "</VALUE.OBJECT>")).message;
  };
  EXPECT_EQ(holder(""), "line 3: VALUE.OBJECT holds no class and no instance");
  EXPECT_EQ(holder("<INSTANCE CLASSNAME='N'/>"),
            "line 3: INSTANCE of class \"N\", which is not declared");
  EXPECT_EQ(holder("<INSTANCE/>"), "line 3: element INSTANCE lacks its attribute CLASSNAME");
  constexpr int kUnsupported = static_cast<int>(NQRXHSK20::THSKStatusCode::kUnsupportedDialect);
  const auto catalogue = [](const std::string& prologue) {
    const TLoaded loaded = LoadBlock(prologue + "<CIM/>", true);
    EXPECT_EQ(loaded.status, loaded.message.empty() ? 0 : kUnsupported) << loaded.message;
    return loaded.message;
  };
  const std::string old = "line 1: the catalogue's version is below 4.02 or unreadable";
  EXPECT_EQ(catalogue("<?sv-catalogue version='4.02'?>"), "");
  EXPECT_EQ(catalogue("<?sv-catalogue version='4.01'?>"), old);
  EXPECT_EQ(catalogue("<?sv-catalogue?>"), old);
  EXPECT_EQ(catalogue("<?sv-catalogue version='4.01'?><?sv-catalogue version='4.02'?>"), old);
  for (const char* other : {"", "<?sv-catalog version='4.02'?>"})
    EXPECT_EQ(catalogue(other),
              "line 1: the catalogue does not say before its root element that "
              "its version is 4.02");
  try {
    NQRXHSK20::TCIMXMLParser(MakeInMemoryNamespace()).Parse(nullptr);
    ADD_FAILURE() << "nothing was parsed";
  } catch (const NQRXHSK20::THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), NQRXHSK20::THSKStatusCode::kFailed);
    EXPECT_EQ(error.GetMessageText(), "there is no document to parse");
  }
}

TEST(Refusal, AnotherRootElementIsNamed) {
  const TLoaded loaded = LoadBlock("<html/>");
  EXPECT_EQ(loaded.status, 1);
  EXPECT_EQ(loaded.message, "line 1: the root element is html, not CIM");
}

// Also where its name stands beside one that is passed over.
TEST(Refusal, AnElementOfNearlyAKnownNameIsNamed) {
  for (const std::string name :
       {"A", "INSTANCENAM", "INSTANCENAMED", "INSTANCEPAT", "instancename", "VALUE.X", "Z"}) {
    const TLoaded loaded = LoadBlock(WithClass("<VALUE.NAMEDOBJECT><" + name +
                                               "/><INSTANCE CLASSNAME='K'/></VALUE.NAMEDOBJECT>"));
    EXPECT_EQ(loaded.status, 1) << name;
    EXPECT_NE(loaded.message.find(name + " is not expected"), std::string::npos) << loaded.message;
  }
}

TEST(Refusal, NamesTheTypeAndThePropertyThatAreWrong) {
  const auto instance = [](const std::string& property) {
    return LoadBlock(WithClass("<VALUE.OBJECT><INSTANCE CLASSNAME='K'>" + property +
                               "</INSTANCE></VALUE.OBJECT>"))
        .message;
  };
  EXPECT_EQ(instance("<PROPERTY TYPE='int' NAME='P'/>"), "line 3: unknown TYPE \"int\"");
  EXPECT_EQ(instance("<PROPERTY NAME='P'><VALUE>a</VALUE><VALUE>b</VALUE></PROPERTY>"),
            "line 3: property \"P\" has a second value");
}

TEST(Refusal, NamesWhatIsWrongInAReference) {
  const auto cause = [](const std::string& reference) {
    const std::string message =
        LoadBlock(WithClass("<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY.REFERENCE NAME='P'>" +
                            reference + "</PROPERTY.REFERENCE></INSTANCE></VALUE.OBJECT>"))
            .message;
    return message.substr(0, 8) == "line 3: " ? message.substr(8) : message;
  };
  const auto value = [&](const std::string& object) {
    return cause("<VALUE.REFERENCE>" + object + "</VALUE.REFERENCE>");
  };
  const auto name = [&](const std::string& keys) {
    return value("<INSTANCENAME CLASSNAME='C'>" + keys + "</INSTANCENAME>");
  };
  EXPECT_EQ(cause("<VALUE>x</VALUE>"), "element VALUE is not expected here");
  EXPECT_EQ(value(""), "VALUE.REFERENCE is empty");
  EXPECT_EQ(value("<KEYVALUE/>"), "element KEYVALUE is not expected here");
  EXPECT_EQ(value("<CLASSNAME NAME='C'/><CLASSNAME NAME='D'/>"),
            "element CLASSNAME is not expected here");
  EXPECT_EQ(value("<CLASSNAME NAME='C'><HOST/></CLASSNAME>"), "element HOST is not expected here");
  EXPECT_EQ(value("<CLASSNAME/>"), "element CLASSNAME lacks its attribute NAME");
  EXPECT_EQ(value("<INSTANCENAME/>"), "element INSTANCENAME lacks its attribute CLASSNAME");
  EXPECT_EQ(value("<LOCALCLASSPATH><LOCALNAMESPACEPATH><HOST/></LOCALNAMESPACEPATH>"
                  "</LOCALCLASSPATH>"),
            "element HOST is not expected here");
  EXPECT_EQ(value("<LOCALCLASSPATH><LOCALNAMESPACEPATH><NAMESPACE/></LOCALNAMESPACEPATH>"
                  "</LOCALCLASSPATH>"),
            "element NAMESPACE lacks its attribute NAME");
  EXPECT_EQ(value("<LOCALCLASSPATH><LOCALNAMESPACEPATH><NAMESPACE NAME='n'><HOST/></NAMESPACE>"
                  "</LOCALNAMESPACEPATH></LOCALCLASSPATH>"),
            "element HOST is not expected here");
  EXPECT_EQ(name("<CLASSNAME NAME='C'/>"), "element CLASSNAME is not expected here");
  EXPECT_EQ(name("<KEYBINDING/>"), "element KEYBINDING lacks its attribute NAME");
  EXPECT_EQ(name("<KEYBINDING NAME='k'/>"), "KEYBINDING lacks its value");
  EXPECT_EQ(name("<KEYBINDING NAME='k'><VALUE/></KEYBINDING>"),
            "element VALUE is not expected here");
  EXPECT_EQ(name("<KEYBINDING NAME='k'><KEYVALUE/><KEYVALUE/></KEYBINDING>"),
            "element KEYVALUE is not expected here");
  EXPECT_EQ(name("<KEYVALUE><HOST/></KEYVALUE>"), "element HOST is not expected here");
  EXPECT_EQ(name("<KEYVALUE>1</KEYVALUE>"), "");
}

TEST(Refusal, SaysWhatIsWrongInADoctype) {
  const auto cause = [](const std::string& doctype) {
    return LoadBlock("<!DOCTYPE" + doctype + "<CIM/>").message;
  };
  EXPECT_EQ(cause(" CIM PUBLIC '-//x//y' 'z'>"), "");
  EXPECT_EQ(cause("CIM>"), "line 1: white space is missing in the DOCTYPE");
  EXPECT_EQ(cause(" >"), "line 1: the DOCTYPE lacks the name of the root element");
  EXPECT_EQ(cause(" CIM\nSYSTEM 'x'y>"), "line 2: malformed DOCTYPE");
  EXPECT_EQ(cause(" CIM\nSYSTEM x>"), "line 2: the DOCTYPE lacks a quoted identifier");
  EXPECT_EQ(cause(" CIM SYSTEM\n'\x01'>"), "line 2: control character 0x01 is not allowed");
  EXPECT_EQ(cause(" CIM SYSTEM '{\xC3\xA9'>"), "");
  EXPECT_EQ(cause(" CIM SYSTEM'x'>"), "line 1: white space is missing in the DOCTYPE");
  EXPECT_EQ(cause(" CIM PUBLIC 'x''y'>"), "line 1: white space is missing in the DOCTYPE");
  EXPECT_EQ(cause(" CIM PUBLIC\n'{' 'y'>"),
            "line 2: the public identifier of the DOCTYPE holds a character that is not allowed");
  EXPECT_EQ(cause(" CIM PUBLIC 'azAZ09 \r\n-()+,./:=?;!*#@$_%' 'y'>"), "");
  for (const char* const other : {"`", "{", "@", "[", "/", ":", "&", "\"", "~", "^"})
    EXPECT_EQ(cause(" CIM PUBLIC '" + std::string(other) + "' 'y'>").empty(),
              std::string("@/:").find(*other) != std::string::npos)
        << other;
  EXPECT_EQ(cause(" CIM\n[]>"), "line 2: a DOCTYPE with an internal subset is refused");
  EXPECT_EQ(cause(">\n<!DOCTYPE CIM>"), "line 1: white space is missing in the DOCTYPE");
  EXPECT_EQ(cause(" CIM>\n<!DOCTYPE CIM>"), "line 2: a second DOCTYPE");
}

TEST(Refusal, AFileThatBreaksOffSaysWhy) {
  try {
    ReadNativeFile("/proc/self/mem");
    ADD_FAILURE() << "it was read";
  } catch (const NQRXHSK20::THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), NQRXHSK20::THSKStatusCode::kFileUnreadable);
    EXPECT_EQ(error.GetMessageText(), "/proc/self/mem: cannot be read: Input/output error");
  }
}

TEST(Refusal, ReferencesThatNestInKeysDoNotGrowWithoutBounds) {
  std::string open;
  std::string close;
  for (int i = 0; i < 20; ++i) {
    open += "<VALUE.REFERENCE><INSTANCENAME CLASSNAME='C'>";
    close = "</INSTANCENAME></VALUE.REFERENCE>" + close;
  }
  const TLoaded loaded =
      LoadBlock(WithClass("<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY.REFERENCE NAME='P'>" +
                          open + close + "</PROPERTY.REFERENCE></INSTANCE></VALUE.OBJECT>"));
  EXPECT_NE(loaded.message.find("nested too deep"), std::string::npos) << loaded.message;
}

TEST(Refusal, OnlyAFileMustEndWithItsRootElement) {
  const std::string document = WithClass("") + "<junk";
  EXPECT_EQ(LoadBlock(document).status, 0);
  EXPECT_EQ(LoadFile(document).status, 1);
  EXPECT_EQ(LoadFile(WithClass("") + "\n<!-- c --><?p?>\n").status, 0);
  EXPECT_EQ(LoadBlock(WithClass("") + std::string(100, '\0')).status, 0);
}

TEST(Refusal, TheTextMayEndInZeroBytes) {
  const TLoaded loaded = LoadBlock("<CIM>\n\n" + std::string(100, '\0'));
  EXPECT_EQ(loaded.status, 1);
  EXPECT_NE(loaded.message.find("line 3: the text ends"), std::string::npos) << loaded.message;
}

TEST(Refusal, AFileMayEndInZeroBytesWhichAreNoText) {
  const auto told = [](const std::string& document) {
    const std::string message = LoadFile(document).message;
    return message.substr(message.find(".xml:") + 5);
  };
  EXPECT_EQ(told("<CIM>\n\n" + std::string(100, '\0')), "3: " + kEnds);
  EXPECT_EQ(told("<CIM>\n\n" + std::string(100, '\0') + "x"),
            "3: control character 0x00 is not allowed");
  EXPECT_EQ(told("<CIM>\n\x1F" + std::string(100, '\0')),
            "2: control character 0x1F is not allowed");
}

TEST(Refusal, FilesThatCannotBeReadHaveAStatusOfTheirOwn) {
  const auto status = [](const std::string& path) {
    try {
      NQRXHSK20::TNamespacePopulator::PopulateFromXMLFile(MakeInMemoryNamespace(), path);
    } catch (const NQRXHSK20::THSKException& error) {
      EXPECT_NE(error.GetMessageText().find(path), std::string::npos);
      return static_cast<int>(error.GetStatusCode());
    }
    return 0;
  };
  EXPECT_EQ(status(testing::TempDir() + "/no-such-file.xml"), 26);
  EXPECT_EQ(status("/"), 11);
  const std::string pipe = testing::TempDir() + "/refused-pipe.xml";
  ::unlink(pipe.c_str());
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(status(pipe), 11) << "and nobody was waited for";
  const TAwaitedPipes pipes;
  AllowWaiting(false);
  EXPECT_EQ(status(pipe), 11) << "nor by who waits for none";
  AllowWaiting(true);
  ::unlink(pipe.c_str());
}

// What a pipe gives once somebody writes to it; a refusal's status for one that is not opened.
std::string ReadFromPipe(const std::string& path, const std::string& document) {
  std::atomic<bool> isOver = false;
  std::thread writer([&] {
    int file = -1;
    while (file == -1 && !isOver) file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK);
    if (file == -1) return;
    ::fcntl(file, F_SETFL, O_WRONLY);
    EXPECT_EQ(::write(file, document.data(), document.size()),
              static_cast<ssize_t>(document.size()));
    ::close(file);
  });
  std::string read;
  try {
    const TFileBytes bytes = ReadFileOrPipe(path);
    read.assign(bytes.bytes.get(), bytes.size);
  } catch (const NQRXHSK20::THSKException& error) {
    read = "status " + std::to_string(static_cast<int>(error.GetStatusCode()));
  }
  isOver = true;
  writer.join();
  return read;
}

TEST(AwaitedPipes, AreReadToTheirEndAsLongAsTheyAreAwaited) {
  const std::string path = testing::TempDir() + "/awaited-pipe.xml";
  ::unlink(path.c_str());
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  {
    const TAwaitedPipes pipes;
    for (const std::size_t size : {1, 4095, 4096, 4097, 100'000}) {
      std::string document(size, 'x');
      document.back() = 'y';
      EXPECT_EQ(ReadFromPipe(path, document), document);
    }
  }
  EXPECT_EQ(ReadFromPipe(path, "x"), "status 11");
  ::unlink(path.c_str());
}

TEST(Refusal, AFileThatNoMemoryHoldsHasAStatusOfItsOwn) {
  const std::string path = testing::TempDir() + "/refused-large.xml";
  std::ofstream(path) << std::string(9999, ' ');
  const auto refusal = [&](std::size_t granted) {
    largestGrant = granted;
    std::string told = "taken";
    try {
      EXPECT_EQ(ReadWholeFile(path).size, 9999U);
    } catch (const NQRXHSK20::THSKException& error) {
      EXPECT_EQ(error.GetStatusCode(), NQRXHSK20::THSKStatusCode::kNoBuffer);
      told = error.GetMessageText();
    }
    largestGrant = SIZE_MAX;
    return told;
  };
  EXPECT_EQ(refusal(10000), "taken") << "one byte more shows that it has ended";
  EXPECT_EQ(refusal(9999), path + ": there is no memory for its 10000 bytes");
  EXPECT_EQ(refusal(0), path + ": there is no memory for its 10000 bytes");
  std::filesystem::remove(path);
}

TEST(Refusal, ADocumentThatDoesNotEndIsToldFromOneThatIsTooLarge) {
  const auto failureOf = [](bool isCut) {
    std::string bytes = "<CIM>\n\n" + std::string(3, '\0');
    const TDocumentText text(bytes.data(), bytes.data() + bytes.size(), isCut);
    try {
      text.FailAtEnd();
    } catch (const TDocumentError& error) {
      EXPECT_EQ(error.line, 3U);
      EXPECT_EQ(error.status, NQRXHSK20::THSKStatusCode::kFailed);
      EXPECT_FALSE(error.IsMoreWanted());
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_EQ(failureOf(false), "the text ends before the root element does");
  EXPECT_EQ(failureOf(true), "the document is larger than 524288000 bytes");
}

}  // namespace
}  // namespace svc::xml
