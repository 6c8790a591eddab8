#include "collect/cim_xml.h"

#include <gtest/gtest.h>

namespace svc::collect {
namespace {

using namespace std::string_view_literals;

struct TTextCase {
  std::string_view bytes;
  std::string_view clean;
};

class CleanTextTest : public testing::TestWithParam<TTextCase> {};

TEST_P(CleanTextTest, GivesValidUtf8OnOneLine) {
  EXPECT_EQ(CleanText(GetParam().bytes), GetParam().clean);
}

INSTANTIATE_TEST_SUITE_P(Texts, CleanTextTest,
                         testing::Values(TTextCase{"", ""}, TTextCase{"  QKL118A \n", "QKL118A"},
                                         TTextCase{"one\ttwo\r\nthree", "one two  three"},
                                         TTextCase{"field\0rest"sv, "field"},
                                         TTextCase{
                                             "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80",
                                             "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80"}));

INSTANTIATE_TEST_SUITE_P(WhatXmlCannotHold, CleanTextTest,
                         testing::Values(TTextCase{"a\x01z", "a\xEF\xBF\xBDz"},
                                         TTextCase{"a\x1B[2Jz", "a\xEF\xBF\xBD[2Jz"},
                                         TTextCase{"a\x7Fz", "a\xEF\xBF\xBDz"},
                                         TTextCase{"a\xC2\x9Bz",
                                                   "a\xEF\xBF\xBDz"},  // CSI of a terminal
                                         TTextCase{"a\xEF\xBF\xBEz", "a\xEF\xBF\xBDz"},    // U+FFFE
                                         TTextCase{"a\xEF\xBF\xBFz", "a\xEF\xBF\xBDz"}));  // U+FFFF

INSTANTIATE_TEST_SUITE_P(
    BrokenUtf8, CleanTextTest,
    testing::Values(TTextCase{"\xFF", "\xEF\xBF\xBD"}, TTextCase{"\xC3", "\xEF\xBF\xBD"},
                    TTextCase{"\xE2\x82", "\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TTextCase{"\xC0\x80z", "\xEF\xBF\xBD\xEF\xBF\xBDz"},  // overlong
                    TTextCase{"\xE0\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TTextCase{"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // surrogate
                    TTextCase{"\xF4\x90\x80\x80",
                              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TTextCase{"Gr\xFC\xDF", "Gr\xEF\xBF\xBD\xEF\xBF\xBD"}));  // ISO-8859-1

constexpr std::string_view kR = "\xEF\xBF\xBD";

TEST(CleanText, KeepsOrReplacesWhatLiesAtEachBound) {
  for (const char* kept :
       {"\x7E", "\xC2\xA0", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
        "\xEF\xBF\xBD", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(CleanText(kept), kept);
  }
  for (const char* control : {"\x1F", "\x7F", "\xC2\x80", "\xC2\x9F", "\xEF\xBF\xBE"})
    EXPECT_EQ(CleanText(control), kR) << control;
  for (const std::string_view wrong : {"\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                                       "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\x80", "\xBF"}) {
    std::string replaced;
    for (std::size_t i = 0; i < wrong.size(); ++i) replaced += kR;
    EXPECT_EQ(CleanText(wrong), replaced);
  }
}

TEST(Assignments, TakeQuotesOffInPairsAlone) {
  const auto values = Assignments("A='\nB=\"\nC=''\nD='x\"\nE=\"x\nF='x'\nG=\n");
  EXPECT_EQ(
      values,
      (std::map<std::string, std::string>{
          {"A", "'"}, {"B", "\""}, {"C", ""}, {"D", "'x\""}, {"E", "\"x"}, {"F", "x"}, {"G", ""}}));
}

TEST(Assignments, ReadsQuotesCommentsAndBlanks) {
  const auto values = Assignments(
      "NAME=\"Red Hat\"\n# PRETTY_NAME=no\nID='rhel'\nVERSION_ID=6.5\nCOST=\"\\$5 \\\"x\\\"\"\n"
      "PATCHLEVEL = 2\nno assignment\n\n=\n");
  EXPECT_EQ(values.at("NAME"), "Red Hat");
  EXPECT_EQ(values.at("ID"), "rhel");
  EXPECT_EQ(values.at("VERSION_ID"), "6.5");
  EXPECT_EQ(values.at("COST"), "$5 \"x\"");
  EXPECT_EQ(values.at("PATCHLEVEL"), "2");
  EXPECT_FALSE(values.contains("# PRETTY_NAME"));
}

TEST(Inventory, HasRoomForSoManyBytesOfItsDocument) {
  const auto device = [](const std::string& name) {
    return TInstance("SVC_FirmwareDevice").Set("Name", name);
  };
  const std::size_t empty = ToCimXml({}).size();
  const std::size_t two = ToCimXml({device("&"), device("b")}).size() - empty;
  for (const auto& [room, count] : {std::pair{two - 1, 1U}, {two, 2U}, {two + 1, 2U}}) {
    TInventory inventory;
    inventory.Limit(room);
    for (const char* name : {"&", "b"}) inventory.Add(device(name));
    EXPECT_EQ(inventory.Instances().size(), count) << room;
    EXPECT_EQ(inventory.Notes().size(), 2 - count) << "that nothing is left out needs no word";
    for (int more = 0; more < 3; ++more) inventory.Add(device(""));
    EXPECT_EQ(inventory.Notes().size(), 2 - count) << "nor does what tells nothing";
    inventory.Add(device("much longer"));
    inventory.Add(device("c"));
    EXPECT_EQ(inventory.Instances().size(), count) << "nothing comes behind what is left out";
    EXPECT_EQ(inventory.Notes().size(), 1U);
    EXPECT_LE(ToCimXml(inventory.Instances()).size(), empty + room);
  }
}

TEST(Document, NamesWhatTurnsTheDirectionOfTextByItsNumber) {
  const std::string kept = "\xE2\x80\xA9 \xE2\x80\xAF \xE2\x81\xA5 \xE2\x81\xAA";
  const std::string document =
      ToCimXml({TInstance("C")
                    .Set("P", "a\xE2\x80\xAA\xE2\x80\xAE" + kept + "\xE2\x81\xA6")
                    .SetList("L", {"\xE2\x81\xA9z<"})});
  EXPECT_NE(document.find("<VALUE>a&#8234;&#8238;" + kept + "&#8294;</VALUE>"), document.npos)
      << document;
  EXPECT_NE(document.find("<VALUE>&#8297;z&lt;</VALUE>"), document.npos) << document;
}

TEST(Bracketed, TakesTheTextBetweenTheMarks) {
  EXPECT_EQ(Bracketed("QRX Rackwell 3650 -[4620AC1]-"), "4620AC1");
  EXPECT_EQ(Bracketed("no marks"), "");
  EXPECT_EQ(Bracketed("]- before -["), "");
  for (const char* open : {"-[", "-[]", "-[4620AC1", "-[4620AC1]", "-[4620AC1-"})
    EXPECT_EQ(Bracketed(open), "") << open;
  for (const char* close : {"]-", "x]-", "4620AC1]-", "[4620AC1]-", "- [4620AC1]-"})
    EXPECT_EQ(Bracketed(close), "") << close;
  EXPECT_EQ(Bracketed("-[]-"), "");
  EXPECT_EQ(Bracketed("-[]- x ]-"), "");
  EXPECT_EQ(Bracketed("-[-]-"), "-");
  EXPECT_EQ(Bracketed("x]- -[a]- -[b]-"), "a");
}

TEST(Bracketed, IsTheMachineTypeOfAProductByItsFirstFourCharacters) {
  EXPECT_EQ(MachineTypeOf("Rackwell 3650 -[4620AC1]-"), "4620");
  EXPECT_EQ(MachineTypeOf("-[ 4620]-"), "4620");
  EXPECT_EQ(MachineTypeOf("-[46]-"), "46");
  for (const char* whole :
       {"", "Rackwell 3650", "Rackwell -[4620AC1", "Rackwell 4620AC1]-", "-[ ]-"})
    EXPECT_EQ(MachineTypeOf(whole), whole);
}

std::string BiosOf(const std::string& version) {
  const TInstance bios = SystemBios(version);
  std::string text = bios.ClassName();
  for (const TProperty& property : bios.Properties())
    text += ' ' + property.name + '=' + property.value;
  return text;
}

TEST(Bracketed, IsTheVersionOfABiosWithTheBuildBeforeItsDash) {
  const std::string begin = "QRXSG_SystemBIOSElement Name=System BIOS Version=";
  EXPECT_EQ(BiosOf("-[QKL120AUS-1.10]-"), begin + "QKL120AUS-1.10 BuildNumber=QKL120AUS");
  EXPECT_EQ(BiosOf("-[QKL120AUS]-"), begin + "QKL120AUS");
  EXPECT_EQ(BiosOf("-[-1.10]-"), begin + "-1.10");
  EXPECT_EQ(BiosOf("QKL120AUS-1.10"), begin + "QKL120AUS-1.10");
  EXPECT_EQ(BiosOf("-[]-"), begin + "-[]-");
}

TEST(Texts, AreCutIntoLinesAndWordsAndLoweredByAscii) {
  using TViews = std::vector<std::string_view>;
  using TTexts = std::vector<std::string>;
  EXPECT_EQ(Lines(std::string_view()), TViews());
  EXPECT_EQ(Lines("a"sv), TViews{"a"});
  EXPECT_EQ(Lines("a\n"sv), TViews{"a"});
  EXPECT_EQ(Lines("\na\n\nbc"sv), (TViews{"", "a", "", "bc"}));
  EXPECT_EQ(Words(""), TTexts());
  EXPECT_EQ(Words(" \t"), TTexts());
  EXPECT_EQ(Words("a"), TTexts{"a"});
  EXPECT_EQ(Words(" a\tbc\r\v\f d\n"), (TTexts{"a", "bc", "d"}));
  EXPECT_EQ(Trimmed(" \t\r\n\v\fa b\f\v\n\r\t "), "a b");
  EXPECT_EQ(FirstLine(" a \n b"), "a");
  EXPECT_EQ(Lowered("@AMZ[`amz{\xC3\x84"), "@amz[`amz{\xC3\x84");
}

TEST(CimXml, HoldsEachInstanceWithItsPropertiesAndTheirMarksEscaped) {
  TInstance first("C<1>");
  first.Set("N\"", "a&b<c>\"d'").Set("Empty", " ").Set("Number", "7", "uint32");
  first.SetList("L&", {"x", "", "<y>"}).SetList("None", {"", " "});
  TInstance second("D");
  second.Set("P", "1");
  EXPECT_EQ(ToCimXml({first, second}), R"(<?xml version="1.0" encoding="UTF-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0">
  <DECLARATION>
    <DECLGROUP>
      <VALUE.OBJECT><INSTANCE CLASSNAME="C&lt;1&gt;">
        <PROPERTY NAME="N&quot;" TYPE="string"><VALUE>a&amp;b&lt;c&gt;&quot;d'</VALUE></PROPERTY>
        <PROPERTY NAME="Number" TYPE="uint32"><VALUE>7</VALUE></PROPERTY>
        <PROPERTY.ARRAY NAME="L&amp;" TYPE="string"><VALUE.ARRAY>
          <VALUE>x</VALUE>
          <VALUE>&lt;y&gt;</VALUE>
        </VALUE.ARRAY></PROPERTY.ARRAY>
      </INSTANCE></VALUE.OBJECT>
      <VALUE.OBJECT><INSTANCE CLASSNAME="D">
        <PROPERTY NAME="P" TYPE="string"><VALUE>1</VALUE></PROPERTY>
      </INSTANCE></VALUE.OBJECT>
    </DECLGROUP>
  </DECLARATION>
</CIM>
)");
}

}  // namespace
}  // namespace svc::collect
