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
  bool Knows(const std::string& bytes) {
    const std::string text = bytes + std::string(TMarkup::kMost - bytes.size(), ' ');
    plan.Begin();
    return plan.Take(text.data()) != nullptr;
  }

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
  for (int i = 0; i < 1024; ++i) Learn(std::string(i % 64, ' ') + "<PROPERTY NAME='P'/>");
  Learn("<PROPERTY NAME='P'><VALUE>x</VALUE></PROPERTY>");
  EXPECT_FALSE(Knows("<PROPERTY NAME='P'><VALUE>"));
}

}  // namespace
}  // namespace svc::xml
