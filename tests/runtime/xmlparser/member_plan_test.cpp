// Instances whose members stand as they did before, and those that only nearly do.
#include "runtime/xmlparser/member_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "loading.h"
#include "runtime/hskcore/namespace_writer.h"

namespace svc::xml {
namespace {

// Markup is known at a stroke only where enough follows.
const std::string kBehind = "<!--" + std::string(600, '.') + "-->";

std::string Property(const std::string& text) {
  return "\n <PROPERTY NAME='P'><VALUE>" + text + "</VALUE></PROPERTY>";
}

std::string Held(const std::string& members, const std::string& holder = "VALUE.OBJECT") {
  return "\n<" + holder + ">\n<INSTANCE CLASSNAME='K'>" + members + "\n</INSTANCE>\n</" + holder +
         ">";
}

// So often that the plan knows all of it.
std::string Known(const std::string& members) {
  std::string known;
  for (int i = 0; i < 5; ++i) known += Held(members);
  return known;
}

TLoaded Load(const std::string& objects) { return LoadBlock(WithClass(objects + kBehind)); }

std::vector<std::string> ValuesOf(const TLoaded& loaded) {
  std::vector<std::string> values;
  for (const auto& instance : InstancesOf(loaded, "K"))
    values.push_back(ValueOf(instance, "P").ToString(10));
  return values;
}

void ExpectRefused(const std::string& objects, const std::string& line, const std::string& cause) {
  const TLoaded loaded = Load(objects);
  EXPECT_EQ(loaded.message.substr(0, loaded.message.find(':')), "line " + line) << loaded.message;
  EXPECT_NE(loaded.message.find(cause), std::string::npos) << loaded.message;
}

TEST(MemberPlan, TextsOfEveryLengthAreWhole) {
  for (const std::size_t from : {std::size_t{0}, TNamespaceWriter::kRoom - 40}) {
    std::string objects;
    std::vector<std::string> texts;
    for (std::size_t length = from; length < from + 300; ++length) {
      texts.push_back(std::string(length, 'a') + std::to_string(length));
      objects += Held(Property(texts.back()));
    }
    const TLoaded loaded = Load(objects);
    ASSERT_EQ(loaded.message, "");
    EXPECT_EQ(ValuesOf(loaded), texts);
  }
}

TEST(MemberPlan, ElementsOfEveryLengthAndNumberAreWhole) {
  std::string objects;
  std::vector<std::string> texts;
  for (std::size_t length = 0; length < 200; ++length) {
    std::string elements;
    std::string joined;
    for (std::size_t i = 0; i < 1 + length % 100; ++i) {
      const std::string text = std::string(i == 0 ? length : 3, 'b') + std::to_string(i);
      elements += "\n<VALUE>" + text + "</VALUE>";
      joined += (i == 0 ? "" : ",") + text;
    }
    texts.push_back(joined);
    objects += Held("\n<PROPERTY.ARRAY NAME='P'><VALUE.ARRAY>" + elements +
                    "</VALUE.ARRAY></PROPERTY.ARRAY>");
  }
  const TLoaded loaded = Load(objects);
  ASSERT_EQ(loaded.message, "");
  const TInstances instances = InstancesOf(loaded, "K");
  ASSERT_EQ(instances.size(), texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const NQRXHSK20::TCIMValue value = ValueOf(instances[i], "P");
    std::string joined;
    for (const auto& element : static_cast<const std::vector<NQRXHSK20::TCIMValue>&>(value))
      joined += (joined.empty() ? "" : ",") + element.ToString(10);
    EXPECT_EQ(joined, texts[i]);
  }
}

TEST(MemberPlan, TextsThatAreNotPlainAreReadAllTheSame) {
  const TLoaded loaded = Load(Known(Property("plain")) + Held(Property("a &amp; b")) +
                              Held(Property("a > \xC3\xA9")) + Held(Property("<![CDATA[<]]>c")) +
                              Held(Property("a\r\nb")) + Held(Property("plain again")));
  ASSERT_EQ(loaded.message, "");
  EXPECT_EQ(ValuesOf(loaded),
            (std::vector<std::string>{"plain", "plain", "plain", "plain", "plain", "a & b",
                                      "a > \xC3\xA9", "<c", "a\nb", "plain again"}));
}

bool IsTextByte(int byte) {
  return byte == '\t' || byte == '\n' || byte == '\r' ||
         (byte >= 0x20 && byte < 0x80 && byte != '<' && byte != '&');
}

// Wherever in a block of sixteen bytes it stands, in the first instance and in a later one.
TEST(MemberPlan, EveryByteIsTakenOrRefusedAsXmlSays) {
  for (int byte = 1; byte < 256; ++byte) {
    for (const std::size_t place : {0, 1, 14, 15, 16, 31, 47}) {
      std::string text(48, 'x');
      text[place] = static_cast<char>(byte);
      for (const std::string& before : {std::string(), Known(Property("y"))}) {
        const TLoaded loaded = Load(before + Held(Property(text)));
        EXPECT_EQ(loaded.message.empty(), IsTextByte(byte)) << byte << " at " << place;
        if (!loaded.message.empty()) continue;
        std::replace(text.begin(), text.end(), '\r', '\n');
        EXPECT_EQ(ValuesOf(loaded).back(), text) << byte << " at " << place;
      }
    }
  }
}

TEST(MemberPlan, MembersComeAndGoAndChangePlaces) {
  const std::string p = Property("p");
  const std::string q = "\n <PROPERTY NAME='Q' TYPE='uint8'><VALUE>7</VALUE></PROPERTY>";
  const std::string r =
      "\n <PROPERTY.ARRAY NAME='R'><VALUE.ARRAY><VALUE>r</VALUE></VALUE.ARRAY>"
      "</PROPERTY.ARRAY>";
  const std::vector<std::string> orders = {p + q + r, q + p, r + q + p, p, p + r, q + r + p};
  std::string objects;
  for (int i = 0; i < 60; ++i) objects += Held(orders[(i * 7 + i / 5) % orders.size()]);
  const TLoaded loaded = Load(objects);
  ASSERT_EQ(loaded.message, "");
  EXPECT_EQ(ValuesOf(loaded), std::vector<std::string>(60, "p"));
}

TEST(MemberPlan, ASecondPropertyOfTheNameIsRefusedOnItsLine) {
  const std::string array =
      "\n <PROPERTY.ARRAY "
      "NAME='P'>\n<VALUE.ARRAY>\n<VALUE>r</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>";
  ExpectRefused(Known(Property("x")) + Held(Property("x") + Property("y")), "32", "written twice");
  ExpectRefused(Known(array) + Held(array + array), "45", "written twice");
  // Each step of which the plan knows.
  const std::string q = "\n <PROPERTY NAME='Q'><VALUE>q</VALUE></PROPERTY>";
  const std::string p = Property("p");
  ExpectRefused(Known(p + q) + Known(q + p) + Held(p + q + p), "68", "written twice");
  ExpectRefused(Known(array + q) + Known(q + array) + Held(array + q + array), "91",
                "written twice");
  // One of which is read token by token.
  const std::string other = "\n <PROPERTY NAME='P' ><VALUE>&amp;</VALUE ></PROPERTY>";
  ExpectRefused(Known(q + p) + Held(q + p + other), "38", "written twice");
  ExpectRefused(Known(p + q) + Held(other + p), "37", "written twice");
}

TEST(MemberPlan, ANumberThatIsNoneIsRefusedOnItsLine) {
  const auto number = [](const std::string& text) {
    return "\n<PROPERTY NAME='P' TYPE='uint8'>\n<VALUE>" + text + "</VALUE></PROPERTY>";
  };
  ExpectRefused(Known(number("12")) + Held(number("256")), "37", "\"256\" is no uint8");
}

TEST(MemberPlan, NoMemberIsTakenIntoAnEmptyInstance) {
  ExpectRefused(Known(Property("x")) + "<VALUE.OBJECT><INSTANCE CLASSNAME='K'/>" + Property("y") +
                    "</VALUE.OBJECT>",
                "29", "PROPERTY is not expected");
  const TLoaded loaded =
      Load(Known(Property("x")) + Held("") +
           "<VALUE.OBJECT><INSTANCE CLASSNAME='K'/></VALUE.OBJECT>" + Held(Property("y")));
  EXPECT_EQ(loaded.message, "");
  EXPECT_EQ(InstancesOf(loaded, "K").size(), 8u);
}

TEST(MemberPlan, AnInstanceEndsWithTheHolderItBeganIn) {
  const std::string other = "\n<VALUE.NAMEDOBJECT>\n<INSTANCE CLASSNAME='K'>" + Property("y") +
                            "\n</INSTANCE>\n</VALUE.OBJECT>" + Held(Property("z"));
  // Directly behind the others, and so far from them that the way there is not learned.
  for (const std::string& between : {std::string(), kBehind})
    ExpectRefused(Known(Property("x")) + between + other, "33", "VALUE.NAMEDOBJECT");
  const TLoaded loaded = Load(Known(Property("x")) + Held(Property("y"), "VALUE.NAMEDOBJECT") +
                              Held(Property("z"), "VALUE.NAMEDOBJECT") + Known(Property("u")));
  EXPECT_EQ(loaded.message, "");
  EXPECT_EQ(ValuesOf(loaded).size(), 12u);
}

TEST(MemberPlan, AHolderHoldsOneInstanceHoweverTheyFollowEachOther) {
  const std::string two = "\n<VALUE.OBJECT>\n<INSTANCE CLASSNAME='K'>" + Property("y") +
                          "\n</INSTANCE>\n<INSTANCE CLASSNAME='K'>";
  ExpectRefused(Known(Property("x")) + two + Property("z") + "\n</INSTANCE>\n</VALUE.OBJECT>", "33",
                "INSTANCE is not expected");
}

TEST(MemberPlan, InstancesOfOtherClassesKeepTheirOwn) {
  std::string objects = "<VALUE.OBJECT><CLASS NAME='L'/></VALUE.OBJECT>";
  for (int i = 0; i < 24; ++i) {
    std::string held = Held(Property(std::to_string(i)));
    if (i % 3 == 0) held.replace(held.find("'K'"), 3, "'L'");
    objects += held;
  }
  const TLoaded loaded = Load(objects);
  ASSERT_EQ(loaded.message, "");
  EXPECT_EQ(ValuesOf(loaded).size(), 16u);
  const TInstances others = InstancesOf(loaded, "L");
  ASSERT_EQ(others.size(), 8u);
  EXPECT_EQ(ValueOf(others[7], "P").ToString(10), "21");
}

// What a text became while it was read is no markup.
TEST(MemberPlan, NothingIsLearnedOfTextsThatLookLikeMarkup) {
  const std::string trap =
      "\n <PROPERTY NAME='P'><VALUE><![CDATA[a</VALUE></PROPERTY>"
      "<PROPERTY NAME='Q'><VALUE>b]]></VALUE></PROPERTY>";
  const std::string value = "a</VALUE></PROPERTY><PROPERTY NAME='Q'><VALUE>b";
  const TLoaded loaded = Load(Known(trap) + Held(Property("x")));
  ASSERT_EQ(loaded.message, "");
  EXPECT_EQ(ValuesOf(loaded), (std::vector<std::string>{value, value, value, value, value, "x"}));
  const TLoaded attribute = Load(Known("\n <PROPERTY NAME='&#80;'><VALUE>1</VALUE></PROPERTY>"));
  EXPECT_EQ(ValuesOf(attribute), std::vector<std::string>(5, "1"));
}

struct TReadTag {
  explicit TReadTag(std::string bytes) : bytes(std::move(bytes)) {
    TDocumentText text(this->bytes.data(), this->bytes.data() + this->bytes.size());
    form = ReadTag(text, this->bytes.data(), attributes);
  }
  // "name=value;" of each.
  std::string All() const {
    std::string all;
    for (const TAttribute& each : attributes)
      all.append(each.Name(bytes.data())).append("=").append(each.Value(bytes.data())) += ";";
    return all;
  }
  std::string bytes;
  std::vector<TAttribute> attributes;
  TTagForm form{};
};

TEST(StartTag, IsReadWithItsAttributes) {
  const TReadTag empty("<ab/>text");
  EXPECT_EQ(empty.form.length, 5u);
  EXPECT_EQ(empty.form.nameLength, 2u);
  EXPECT_TRUE(empty.form.isEmpty);
  EXPECT_TRUE(empty.form.isWritten);
  EXPECT_EQ(empty.All(), "");
  const TReadTag open("<abc d='1'\n e = \"'2>\" f='\xC3\xA9' >text");
  EXPECT_EQ(open.form.length, 30u);
  EXPECT_EQ(open.form.nameLength, 3u);
  EXPECT_FALSE(open.form.isEmpty);
  EXPECT_TRUE(open.form.isWritten);
  EXPECT_EQ(open.All(), "d=1;e='2>;f=\xC3\xA9;");
  EXPECT_EQ(open.bytes.substr(0, 30), "<abc d='1'\n e = \"'2>\" f='\xC3\xA9' >");
}

// Such a tag is read anew each time: its bytes are no longer those of the document.
TEST(StartTag, TellsWhetherAValueWasRewritten) {
  for (const auto& [written, value] : std::vector<std::pair<std::string, std::string>>{
           {"x&lt;y", "x<y"}, {"x\ny", "x y"}, {"x\ry", "x y"}, {"x\r\n\ny", "x  y"}}) {
    const TReadTag tag("<a b='" + written + "' c='2'>");
    EXPECT_FALSE(tag.form.isWritten) << written;
    EXPECT_EQ(tag.All(), "b=" + value + ";c=2;");
    EXPECT_EQ(tag.form.length, tag.bytes.size());
  }
  EXPECT_TRUE(TReadTag("<a b=''>").form.isWritten);
  EXPECT_EQ(TReadTag("<a b='x\ty'>").All(), "b=x y;");
}

// Few names are compared with each other, many are looked up.
TEST(StartTag, OfAnyNumberOfAttributesHasEachOnce) {
  for (int count = 1; count < 40; ++count) {
    std::string attributes;
    std::string all;
    for (int i = 0; i < count; ++i) {
      attributes += " a" + std::to_string(i) + "='" + std::to_string(i) + "'";
      all += "a" + std::to_string(i) + "=" + std::to_string(i) + ";";
    }
    EXPECT_EQ(TReadTag("<x" + attributes + ">").All(), all);
    for (const int twice : {0, count - 1}) {
      const std::string name = "a" + std::to_string(twice);
      try {
        TReadTag("<x" + attributes + " " + name + "=''>");
        ADD_FAILURE() << count << ' ' << twice;
      } catch (const TDocumentError& error) {
        EXPECT_EQ(error.what(), "attribute \"" + name + "\" written twice");
      }
    }
  }
}

TEST(StartTag, IsRefusedWhereItIsNone) {
  const auto refusal = [](const std::string& bytes) {
    try {
      TReadTag tag(bytes);
      return "taken: " + tag.All();
    } catch (const TDocumentError& error) {
      return std::to_string(error.line) + ": " + error.what();
    }
  };
  const std::string ends = "the text ends before the root element does";
  EXPECT_EQ(refusal("<1>"), "1: '<' begins no tag; a plain one is written &lt;");
  EXPECT_EQ(refusal("<"), "1: " + ends);
  EXPECT_EQ(refusal("<a"), "1: " + ends);
  EXPECT_EQ(refusal("<a\n"), "2: " + ends);
  EXPECT_EQ(refusal("<a/"), "1: " + ends);
  EXPECT_EQ(refusal("<a\n/ >"), "2: malformed start tag \"a\"");
  EXPECT_EQ(refusal("<a;>"), "1: malformed start tag \"a\"");
  EXPECT_EQ(refusal("<a b='1'c='2'>"), "1: malformed start tag \"a\"");
  EXPECT_EQ(refusal("<a 1='1'>"), "1: malformed name of an attribute");
  EXPECT_EQ(refusal("<a\nb>"), "2: an attribute lacks its value");
  EXPECT_EQ(refusal("<a b"), "1: " + ends);
  EXPECT_EQ(refusal("<a b="), "1: " + ends);
  EXPECT_EQ(refusal("<a b='"), "1: " + ends);
  EXPECT_EQ(refusal("<a b='\n1"), "2: " + ends);
  EXPECT_EQ(refusal("<a b=\n1>"), "2: the value of an attribute lacks its quotes");
  EXPECT_EQ(refusal("<a b='\n<'>"), "2: '<' is not allowed in the value of an attribute");
  EXPECT_EQ(refusal("<a b='\r\n\x1F'>"), "2: control character 0x1F is not allowed");
  EXPECT_EQ(refusal("<a b='\r\r\xFE'>"), "3: byte 0xFE begins no valid UTF-8 character");
  EXPECT_EQ(refusal("<a b='\x7F\x20'>"), "taken: b=\x7F ;");
}

class Plan : public ::testing::Test {
 protected:
  void SetUp() override {
    constexpr std::string_view kTag = "<PROPERTY NAME='P'>";
    kTag.copy(tag.bytes, kTag.size());
    tag.form = {static_cast<std::uint32_t>(kTag.size()), 8, false, true};
  }
  void Learn(const std::string& bytes, bool isArray = false) {
    plan.Begin();
    plan.Learn({bytes, &tag, isArray, 3, NQRXHSK20::ECIMType::kString});
    plan.Begin();
  }
  // What stands first in an instance, as the plan knows it; null for none.
  const TMember* Taken(const std::string& bytes) {
    const std::string text = bytes + std::string(TMarkup::kMost - bytes.size(), ' ');
    plan.Begin();
    return plan.Take(text.data());
  }
  bool Knows(const std::string& bytes) { return Taken(bytes) != nullptr; }

  TKnownTag tag{};
  TMemberPlan plan;
};

TEST_F(Plan, KnowsAMemberOnceItIsLearned) {
  const std::string lead = "\n <PROPERTY NAME='P'> <VALUE>";
  EXPECT_FALSE(Knows(lead));
  Learn(lead + "text</VALUE>\n</PROPERTY>");
  EXPECT_TRUE(Knows(lead));
  EXPECT_FALSE(Knows("\n  <PROPERTY NAME='P'> <VALUE>"));
}

TEST_F(Plan, LearnsTheUsualFormsAlone) {
  for (const char* bytes :
       {"<PROPERTY NAME='P'><VALUE >x</VALUE></PROPERTY>", "<PROPERTY NAME='P'><VALUE>x</VALUE>",
        "<PROPERTY NAME='P'><VALUE>x</VALUE ></PROPERTY>", "<PROPERTY NAME='P'></PROPERTY>",
        "<PROPERTY NAME='Q'><VALUE>x</VALUE></PROPERTY>",
        "<PROPERTY NAME='P'><VALUE>x</VALUE></PROPERTY> ",
        "<PROPERTY NAME='P'><VALUE>x</VALUE><VALUE>y</VALUE></PROPERTY>",
        ". <PROPERTY NAME='P'><VALUE>x</VALUE></PROPERTY>"}) {
    Learn(bytes);
    EXPECT_FALSE(Knows("<PROPERTY NAME='P'><VALUE>")) << bytes;
  }
  Learn("<PROPERTY NAME='P'><VALUE>x</VALUE></PROPERTY>", true);
  EXPECT_FALSE(Knows("<PROPERTY NAME='P'><VALUE>"));
  Learn("<PROPERTY NAME='P'><VALUE>x</VALUE></PROPERTY>");
  EXPECT_TRUE(Knows("<PROPERTY NAME='P'><VALUE>"));
}

TEST_F(Plan, KnowsTheUsualWayFromOneInstanceToTheNextAlone) {
  constexpr std::string_view kFirst = "<INSTANCE CLASSNAME='K'>";
  TKnownTag first{};
  kFirst.copy(first.bytes, kFirst.size());
  first.form = {static_cast<std::uint32_t>(kFirst.size()), 8, false, true};
  const auto gap = [&](const std::string& blanks) {
    return blanks + "</INSTANCE>\n</H>\n<H>" + std::string(kFirst);
  };
  const auto learned = [&](const std::string& bytes) {
    plan.LearnGap(gap(""), "H", first);
    EXPECT_EQ(plan.Gap().View(), gap(""));
    plan.LearnGap(bytes, "H", first);
    return std::string(plan.Gap().View());
  };
  EXPECT_EQ(learned(gap("\n ")), gap("\n "));
  const std::size_t room = TMarkup::kMost - gap("").size();
  EXPECT_EQ(learned(gap(std::string(room, ' '))).size(), TMarkup::kMost);
  EXPECT_EQ(learned(gap(std::string(room + 1, ' '))), "");
  for (const std::string& other :
       {gap("") + " ", gap("<!-- -->"), std::string("</INSTANCE></G><G>") + std::string(kFirst),
        std::string("</INSTANCE></H><H><INSTANCE CLASSNAME='L'>"), std::string()}) {
    EXPECT_EQ(learned(other), "") << other;
  }
  plan.LearnGap(gap(""), "H", first);
  first.form.isEmpty = true;
  plan.LearnGap(gap(""), "H", first);
  EXPECT_TRUE(plan.Gap().IsEmpty()) << "an instance that has no end tag";
}

// Many-named documents do not pay for a plan that is of no use to them.
TEST_F(Plan, StopsLearningWhereThatIsOfNoUse) {
  const std::string lead = "<PROPERTY NAME='P'><VALUE>";
  for (int i = 0; i < 1023; ++i) Learn(std::string(i % 64, ' ') + "<PROPERTY NAME='P'/>");
  Learn(lead + "x</VALUE></PROPERTY>");
  EXPECT_TRUE(Knows(lead)) << "which was of use: so it learns once more";
  Learn(' ' + lead + "x</VALUE></PROPERTY>");
  Learn('\n' + lead + "x</VALUE></PROPERTY>");
  EXPECT_FALSE(Knows('\n' + lead));
  EXPECT_TRUE(Knows(' ' + lead));
}

TEST_F(Plan, TellsWhatItLearned) {
  Learn("\n<PROPERTY NAME='P'> <VALUE>text</VALUE>\t</PROPERTY>");
  const TMember* const member = Taken("\n<PROPERTY NAME='P'> <VALUE>");
  ASSERT_NE(member, nullptr);
  EXPECT_EQ(member->lead.View(), "\n<PROPERTY NAME='P'> <VALUE>");
  EXPECT_EQ(member->between.View(), "");
  EXPECT_EQ(member->trail.View(), "</VALUE>\t</PROPERTY>");
  EXPECT_EQ(member->tag, &tag);
  EXPECT_EQ(member->step.name, 3u);
  EXPECT_EQ(member->step.form.type, NQRXHSK20::ECIMType::kString);
  EXPECT_FALSE(member->step.form.isArray);
  EXPECT_FALSE(member->step.form.isNullNumber);
}

TEST_F(Plan, KnowsWhatStandsBetweenElementsOnceAnArrayHasTwo) {
  const std::string lead = "<PROPERTY NAME='P'> <VALUE.ARRAY>\n<VALUE>";
  const std::string trail = "</VALUE>\n</VALUE.ARRAY> </PROPERTY.ARRAY>";
  const auto known = [&] {
    const TMember* const member = Taken(lead);
    if (member == nullptr) return std::string("nothing");
    EXPECT_TRUE(member->step.form.isArray);
    EXPECT_EQ(member->trail.View(), trail);
    return std::string(member->between.View());
  };
  Learn(lead + "a</VALUE> <VALUE>b</VALUE><VALUE>c" + trail, true);
  EXPECT_EQ(known(), "nothing") << "it is not the same each time";
  Learn(lead + "a" + trail, true);
  EXPECT_EQ(known(), "");
  Learn(lead + "a</VALUE>\n<VALUE>b</VALUE>\n<VALUE>c" + trail, true);
  EXPECT_EQ(known(), "</VALUE>\n<VALUE>");
  Learn(lead + "a</VALUE><VALUE>b" + trail, true);
  EXPECT_EQ(known(), "</VALUE>\n<VALUE>");
}

// Optional ones come and go.
TEST_F(Plan, KnowsThreeThatMayStandInOnePlaceTheLastOnesFirst) {
  const auto lead = [](int blanks) {
    return std::string(static_cast<std::size_t>(blanks), ' ') + "<PROPERTY NAME='P'><VALUE>";
  };
  const auto learn = [&](int blanks) { Learn(lead(blanks) + "x</VALUE></PROPERTY>"); };
  for (int i = 1; i <= 3; ++i) learn(i);
  // Each that is taken is the last one then.
  for (const int i : {1, 2, 3, 1, 2}) EXPECT_TRUE(Knows(lead(i))) << i;
  learn(4);
  EXPECT_FALSE(Knows(lead(3)));
  for (const int i : {1, 2, 4}) EXPECT_TRUE(Knows(lead(i))) << i;
}

TEST_F(Plan, LearnsWhatItsPlacesHold) {
  const std::string lead = "<PROPERTY NAME='P'><VALUE>";
  const std::string trail = "</VALUE></PROPERTY>";
  const std::string fits = std::string(TMarkup::kMost - lead.size(), ' ') + lead;
  Learn(fits + "x" + trail);
  EXPECT_TRUE(Knows(fits));
  const auto known = [&](const std::string& begin) {
    Learn(begin + "x" + trail);
    const std::string text = begin + std::string(TMarkup::kMost, ' ');
    plan.Begin();
    return plan.Take(text.data()) != nullptr;
  };
  EXPECT_FALSE(known(' ' + fits));
  EXPECT_TRUE(known('\n' + lead));
  const auto behind = [](std::size_t blanks) {
    return "</VALUE>" + std::string(blanks, ' ') + "</PROPERTY>";
  };
  const std::size_t usual = behind(0).size();
  Learn('\r' + lead + "x" + behind(TMarkup::kMost - usual + 1));
  EXPECT_FALSE(Knows('\r' + lead));
  Learn('\r' + lead + "x" + behind(TMarkup::kMost - usual));
  EXPECT_TRUE(Knows('\r' + lead));
  // Of a large one nothing is learned.
  const std::size_t room = (std::size_t{16} << 10) - 1 - lead.size() - trail.size();
  Learn(' ' + lead + std::string(room, 'x') + trail);
  EXPECT_TRUE(Knows(' ' + lead));
  Learn('\t' + lead + std::string(room + 1, 'x') + trail);
  EXPECT_FALSE(Knows('\t' + lead));
}

TEST_F(Plan, HasSoManyMembersAndNoMore) {
  const auto lead = [](std::size_t i) {
    return std::string(i % 16, ' ') + "<PROPERTY NAME='P'>" + std::string(i / 16, ' ') + "<VALUE>";
  };
  const auto learn = [&](std::size_t i) { Learn(lead(i) + "x</VALUE></PROPERTY>"); };
  for (std::size_t i = 0; i < 256; ++i) {
    learn(i);
    ASSERT_TRUE(Knows(lead(i))) << i;
  }
  learn(256);
  EXPECT_FALSE(Knows(lead(256)));
  learn(7);
  EXPECT_TRUE(Knows(lead(7))) << "which it has";
}

// A tag that is not remembered has no place to go on from, and an empty one no text.
TEST_F(Plan, LearnsNothingOfATagThatIsNotRememberedOrEmpty) {
  const std::string lead = "<PROPERTY NAME='P'><VALUE>";
  plan.Begin();
  plan.Learn({lead + "x</VALUE></PROPERTY>", nullptr, false, 3, NQRXHSK20::ECIMType::kString});
  tag.form.isEmpty = true;
  Learn(lead + "x</VALUE></PROPERTY>");
  EXPECT_FALSE(Knows(lead));
  tag.form.isEmpty = false;
  Learn(lead + "x</VALUE></PROPERTY>");
  EXPECT_TRUE(Knows(lead));
}

}  // namespace
}  // namespace svc::xml
