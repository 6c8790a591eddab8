// What of CIM-XML is taken, and what objects it makes.
#include <gtest/gtest.h>

#include "loading.h"

namespace svc::xml {
namespace {

std::string Instance(const std::string& properties) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME=\"K\">" + properties + "</INSTANCE></VALUE.OBJECT>";
}

// The value of P that a property element gives, or the message of its refusal.
std::string ValueFrom(const std::string& property) {
  const TLoaded loaded = LoadBlock(WithClass(Instance(property)));
  return loaded.status ? loaded.message : OnlyValue(loaded);
}

TEST(Profile, ValuesReadAsTheyAreWritten) {
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P' TYPE='string'><VALUE> a\tb\r\n </VALUE></PROPERTY>"),
            " a\tb\n ");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P'><VALUE>x&lt;<![CDATA[&y]]></VALUE></PROPERTY>"), "x<&y");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P'><VALUE></VALUE></PROPERTY>"), "");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P'><VALUE/></PROPERTY>"), "");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P'/>"), "(null)");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P'><VALUE.NULL/></PROPERTY>"), "(null)");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P' TYPE='uint16'><VALUE>0x1F</VALUE></PROPERTY>"), "31");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P' TYPE='sint8'><VALUE>-128</VALUE></PROPERTY>"), "-128");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P' TYPE='boolean'><VALUE>true</VALUE></PROPERTY>"), "TRUE");
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P' TYPE='real64'><VALUE>1.50</VALUE></PROPERTY>"), "1.5");
}

TEST(Profile, QualifiersAndUnknownAttributesArePassedOver) {
  EXPECT_EQ(ValueFrom("<PROPERTY NAME='P' CLASSORIGIN='X' PROPAGATED='true' xml:lang='en'>"
                      "<QUALIFIER NAME='q'><VALUE.ARRAY><VALUE>z</VALUE></VALUE.ARRAY></QUALIFIER>"
                      "<VALUE>x</VALUE></PROPERTY>"),
            "x");
}

TEST(Profile, QualifiersArePassedOverWhereverTheyStand) {
  const std::string q = "<QUALIFIER NAME='q'><VALUE>z</VALUE></QUALIFIER>";
  const struct {
    std::string element;
    std::string value;
    std::string expected;
  } properties[] = {
      {"PROPERTY", "<VALUE>x</VALUE>", "x"},
      {"PROPERTY", "<VALUE.NULL/>", "(null)"},
      {"PROPERTY.ARRAY", "<VALUE.ARRAY><VALUE>x</VALUE></VALUE.ARRAY>", "{ x }"},
      {"PROPERTY.ARRAY", "<VALUE.NULL/>", "(null)"},
      {"PROPERTY.REFERENCE", "<VALUE.REFERENCE><CLASSNAME NAME='C'/></VALUE.REFERENCE>", "C"},
      {"PROPERTY.REFERENCE", "<VALUE.NULL/>", "(null)"},
  };
  for (const auto& [element, value, expected] : properties) {
    const std::string begin = "<" + element + " NAME='P'>";
    const std::string end = "</" + element + ">";
    EXPECT_EQ(ValueFrom(begin + q + q + end), "(null)");
    EXPECT_EQ(ValueFrom(begin + q + value + end), expected);
    EXPECT_EQ(ValueFrom(begin + value + q + end), expected);
    EXPECT_EQ(ValueFrom(begin + q + value + "\n" + q + q + end), expected);
    EXPECT_EQ(ValueFrom(begin + value + q + "\n" + value + end),
              "line 4: property \"P\" has a second value");
    EXPECT_EQ(ValueFrom(begin + value + "\n<METHOD/>" + end),
              "line 4: property \"P\" has a second value");
  }
}

TEST(Profile, ArraysKeepTheirElementsInOrder) {
  EXPECT_EQ(ValueFrom("<PROPERTY.ARRAY NAME='P' TYPE='string'><VALUE.ARRAY>\n <VALUE>b</VALUE>\n"
                      "<VALUE>a, c</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"),
            "{ b, a, c }");
  EXPECT_EQ(ValueFrom("<PROPERTY.ARRAY NAME='P' TYPE='string'/>"), "(null)");
  EXPECT_EQ(ValueFrom("<PROPERTY.ARRAY NAME='P' TYPE='string'><VALUE.NULL/></PROPERTY.ARRAY>"),
            "(null)");
}

TEST(Profile, ReferencesAreKeptAsObjectPaths) {
  EXPECT_EQ(
      ValueFrom("<PROPERTY.REFERENCE NAME='P'><VALUE.REFERENCE><INSTANCEPATH><NAMESPACEPATH>"
                "<HOST>h</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME='root'/>"
                "<NAMESPACE NAME='cimv2'/></LOCALNAMESPACEPATH></NAMESPACEPATH>"
                "<INSTANCENAME CLASSNAME='C'><KEYBINDING NAME='k'><KEYVALUE>a\"\\b</KEYVALUE>"
                "</KEYBINDING><KEYBINDING NAME='n'><KEYVALUE VALUETYPE='numeric'>12</KEYVALUE>"
                "</KEYBINDING></INSTANCENAME></INSTANCEPATH></VALUE.REFERENCE>"
                "</PROPERTY.REFERENCE>"),
      "//h/root/cimv2:C.k=\"a\\\"\\\\b\",n=12");
  EXPECT_EQ(ValueFrom("<PROPERTY.REFERENCE NAME='P'><VALUE.REFERENCE><CLASSNAME NAME='C'/>"
                      "</VALUE.REFERENCE></PROPERTY.REFERENCE>"),
            "C");
  EXPECT_EQ(ValueFrom("<PROPERTY.REFERENCE NAME='P' REFERENCECLASS='C'/>"), "(null)");
}

TEST(Profile, EveryContainerOfADeclarationIsEntered) {
  const std::string object =
      "<INSTANCE CLASSNAME='k'><PROPERTY NAME='p'><VALUE>v</VALUE></PROPERTY>"
      "</INSTANCE>";
  const std::string path = "<INSTANCEPATH><X/>text</INSTANCEPATH>";
  for (const char* group : {"DECLGROUP", "DECLGROUP.WITHNAME", "DECLGROUP.WITHPATH"}) {
    for (const std::string& inner :
         {"<VALUE.OBJECT>" + object + "</VALUE.OBJECT>",
          "<VALUE.NAMEDOBJECT><INSTANCENAME CLASSNAME='K'/>" + object + "</VALUE.NAMEDOBJECT>",
          "<VALUE.OBJECTWITHPATH>" + path + object + "</VALUE.OBJECTWITHPATH>"}) {
      const std::string name(group);
      const TLoaded loaded = LoadFile("<CIM><DECLARATION><" + name +
                                      "><VALUE.OBJECT><CLASS NAME='K'/></VALUE.OBJECT>" + inner +
                                      "</" + name + "></DECLARATION></CIM>");
      EXPECT_EQ(loaded.message, "");
      EXPECT_EQ(OnlyValue(loaded), "v") << inner;
    }
  }
}

TEST(Profile, ASavedResponseOfAServerIsTaken) {
  const std::string object =
      "<INSTANCE CLASSNAME='K'><PROPERTY NAME='P'><VALUE>v</VALUE></PROPERTY>"
      "</INSTANCE>";
  for (const std::string& inner :
       {object, "<VALUE.NAMEDINSTANCE><INSTANCENAME/>" + object + "</VALUE.NAMEDINSTANCE>",
        "<VALUE.OBJECTWITHPATH><INSTANCEPATH/>" + object + "</VALUE.OBJECTWITHPATH>",
        "<VALUE.INSTANCEWITHPATH><INSTANCEPATH/>" + object + "</VALUE.INSTANCEWITHPATH>"}) {
    const TLoaded loaded = LoadFile(
        "<CIM CIMVERSION='2.0'><MESSAGE ID='1'><SIMPLERSP><IMETHODRESPONSE NAME='x'><IRETURNVALUE>"
        "<CLASS NAME='K'/>" +
        inner + "</IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>");
    EXPECT_EQ(loaded.message, "");
    EXPECT_EQ(OnlyValue(loaded), "v") << inner;
  }
}

TEST(Profile, AClassGivesItsInstancesDefaults) {
  const TLoaded loaded = LoadFile(
      InFrame("<VALUE.OBJECT><CLASS NAME='Base'><PROPERTY NAME='P'><VALUE>base</VALUE></PROPERTY>"
              "<METHOD NAME='m'><PARAMETER NAME='x'/></METHOD></CLASS></VALUE.OBJECT>"
              "<VALUE.OBJECT><CLASS NAME='K' SUPERCLASS='base'></CLASS></VALUE.OBJECT>" +
              Instance("")));
  EXPECT_EQ(loaded.message, "");
  EXPECT_EQ(OnlyValue(loaded), "base");
  EXPECT_EQ(InstancesOf(loaded, "BASE").size(), 1u);
}

TEST(Profile, AClassMayBeDeclaredAgain) {
  const TLoaded loaded = LoadFile(InFrame(
      "<VALUE.OBJECT><CLASS NAME='S'/></VALUE.OBJECT><VALUE.OBJECT><CLASS NAME='K'/></VALUE.OBJECT>"
      "<VALUE.OBJECT><CLASS NAME='k' SUPERCLASS='S'><PROPERTY NAME='P'><VALUE>d</VALUE></PROPERTY>"
      "</CLASS></VALUE.OBJECT><VALUE.OBJECT><CLASS NAME='K'/></VALUE.OBJECT>" +
      Instance("")));
  EXPECT_EQ(loaded.message, "");
  EXPECT_EQ(OnlyValue(loaded), "d");
  EXPECT_EQ(InstancesOf(loaded, "S").size(), 1u);
  EXPECT_EQ(loaded.classes.size(), 2u);
}

TEST(Profile, ADocumentMayComeInOtherEncodings) {
  const std::string latin =
      "<?xml version='1.0' encoding='ISO-8859-1'?>" +
      WithClass(Instance("<PROPERTY NAME='P'><VALUE>\xE9</VALUE></PROPERTY>"));
  EXPECT_EQ(OnlyValue(LoadFile(latin)), "\xC3\xA9");
  std::string utf16 = "\xFE\xFF";
  for (char c : WithClass(Instance("<PROPERTY NAME='P'><VALUE>x</VALUE></PROPERTY>"))) {
    utf16 += '\0';
    utf16 += c;
  }
  EXPECT_EQ(OnlyValue(LoadFile(utf16)), "x");
  EXPECT_EQ(OnlyValue(LoadBlock(utf16)), "x");
  const std::string marked = "\xEF\xBB\xBF" + WithClass(Instance("<PROPERTY NAME='P'/>")) + "\n";
  EXPECT_EQ(OnlyValue(LoadFile(marked)), "(null)");
}

}  // namespace
}  // namespace svc::xml
