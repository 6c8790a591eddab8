// Each document is judged by the reader and by expat, whose judgement the table states.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "judges.h"

namespace svc::xml {
namespace {

using namespace std::string_literals;

const std::vector<std::string> kGood = {
    "<a/>",
    "<a></a >",
    " \r\n<a/>\n",
    "\xEF\xBB\xBF<a/>",
    "<?xml version=\"1.0\"?><a/>",
    "<?xml version='1.0' encoding='utf-8' standalone='no' ?><a/>",
    "<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xE9'>\xFF</a>",
    "<?xml version='1.0' encoding='us-ascii'?><a/>",
    "<?xml\tversion\r\n=\n\"1.0\"\tstandalone \n= 'yes'\t?><a/>",
    "<?xml version='1.0' standalone='no'?><a/>",
    "\xFF\xFE<\0a\0/\0>\0"s,
    "\xFE\xFF\0<\0a\0/\0>"s,
    "\xFF\xFE<\0a\0>\0\x3D\xD8\x00\xDE<\0/\0a\0>\0"s,
    "<!DOCTYPE a><a/>",
    "<!DOCTYPE a SYSTEM 'x.dtd'><a/>",
    "<!DOCTYPE a PUBLIC '-//X//Y' \"it's\" ><a/>",
    "<!-- c --><?p?><a/><!-- - --><?p  i?>",
    "<a b='1' c=\"2\"/>",
    "<a b = '1'\n\tc\r\n=\r\"2\" />",
    "<a b='>' c='\"' d=\"'\" e=']]>'/>",
    "<a b='&lt;&amp;&#65;&#x10FFFF;'/>",
    "<a>&lt;&gt;&amp;&quot;&apos;&#9;&#xD;</a>",
    "<a>]] ></a>",
    "<a>]]&gt;</a>",
    "<a><![CDATA[<&]]]]>&gt;<![CDATA[]]></a>",
    "<a><![CDATA[]]]]><![CDATA[>]]></a>",
    "<a><!----><?x?></a>",
    "<a>\x7F\xC2\x80\xEF\xBF\xBD\xF4\x8F\xBF\xBF</a>",
    "<_a-b.c:d1/>",
    "<\xC3\xA9\xCC\x80/>",
    "<xmlx/>",
    "<?xmlx?><a/>",
};

const std::vector<std::string> kBad = {
    "",
    " ",
    "a",
    "<",
    "<a",
    "<a>",
    "<a/",
    "<a/>x",
    "<a/><b/>",
    "<a/>&amp;",
    "x<a/>",
    "<a></b>",
    "<a></ab>",
    "<ab></a>",
    "<a></a b>",
    "<a></ a>",
    "<a><b></a></b>",
    "< a/>",
    "<1/>",
    "<-a/>",
    "<a/ >",
    "<a //>",
    "<a b/>",
    "<a b=/>",
    "<a b=1/>",
    "<a b='1/>",
    "<a b='1' b='2'/>",
    "<a b='1'c='2'/>",
    "<a b='<'/>",
    "<a b='&'/>",
    "<a b='\x01'/>",
    "<a>&</a>",
    "<a>&;</a>",
    "<a>&lt</a>",
    "<a>&unknown;</a>",
    "<a>&#;</a>",
    "<a>&#x;</a>",
    "<a>&#X41;</a>",
    "<a>&#4a;</a>",
    "<a>&#0;</a>",
    "<a>&#x1F;</a>",
    "<a>&#xD800;</a>",
    "<a>&#xFFFE;</a>",
    "<a>&#x110000;</a>",
    "<a>&#99999999999999999999;</a>",
    "<a>]]></a>",
    "<a>\x01</a>",
    "<a>\xC3\xA9]]></a>",
    "<a>\x80</a>",
    "<a>\xC0\x80</a>",
    "<a>\xC3</a>",
    "<a>\xE0\x80\x80</a>",
    "<a>\xED\xA0\x80</a>",
    "<a>\xEF\xBF\xBE</a>",
    "<a>\xF4\x90\x80\x80</a>",
    "<a>\xF8\x88\x80\x80\x80</a>",
    "<a>\0</a>"s,
    "<a><!b></a>",
    "<a><![CDATA[</a>",
    "<a><![cdata[]]></a>",
    "<![CDATA[]]><a/>",
    "<a/><![CDATA[]]>",
    "<a><!-- -- --></a>",
    "<a><!-- --->--></a>",
    "<a><!-- </a>",
    "<!- x --><a/>",
    "<a><?></a>",
    "<a><? p?></a>",
    "<a><?p</a>",
    "<a><?xml?></a>",
    "<a><?XmL x?></a>",
    " <?xml version='1.0'?><a/>",
    "<?xml?><a/>",
    "<?xml version='1.0' ?",
    "<?xml encoding='utf-8'?><a/>",
    "<?xml version='1.0' encoding=''?><a/>",
    "<?xml version='1.0' encoding='utf 8'?><a/>",
    "<?xml version='1.0' standalone='maybe'?><a/>",
    "<?xml version='1.0' standalone='yes' encoding='utf-8'?><a/>",
    "<?xml version='1.0'encoding='utf-8'?><a/>",
    "<?xml version='1.0' more='x'?><a/>",
    "<?xml version=?><a/>",
    "<?xml version='?><a/>",
    "<?xml version?><a/>",
    "<?xml version='1.0' encoding=?><a/>",
    "<?xml version='1.0' encoding='utf-8?><a/>",
    "<?xml version='1.0' standalone=?><a/>",
    "<?xml version='1.0' standalone=yes?><a/>",
    "<?xml version='1.0' ='yes'?><a/>",
    "<?xml version='1.0' standalone='YES'?><a/>",
    "<?xml version='1 0'?><a/>",
    "<?xml version='1.0' encoding='8utf'?><a/>",
    "<?xml version='1.0' standalone='yes' standalone='yes'?><a/>",
    "<?xml version='1.0'x?><a/>",
    "<?xml version='1.0' encoding='utf-16'?><a/>",
    "<?xml version='1.0' encoding='us-ascii'?><a>\xE9</a>",
    "<?xml version='1.0' encoding='no-such'?><a/>",
    "\xFF\xFE<\0a\0/\0>"s,
    "\xFF\xFE<\0a\0>\0\x3D\xD8<\0/\0a\0>\0"s,
    "<!DOCTYPE><a/>",
    "<!DOCTYPEa><a/>",
    "<!DOCTYPE a SYSTEM><a/>",
    "<!DOCTYPE a SYSTEM 'x'y><a/>",
    "<!DOCTYPE a PUBLIC 'x'><a/>",
    "<!DOCTYPE a PUBLIC '{' 'y'><a/>",
    "<!DOCTYPE a><!DOCTYPE a><a/>",
    "<a/><!DOCTYPE a>",
    "<a><!DOCTYPE a></a>",
};

TEST(WellFormedness, GoodDocumentsAreTaken) {
  for (const std::string& document : kGood) {
    EXPECT_EQ(JudgeByExpat(document), "") << document;
    EXPECT_EQ(JudgeByReader(document), "") << document;
  }
}

TEST(WellFormedness, BadDocumentsAreRefused) {
  for (const std::string& document : kBad) {
    EXPECT_NE(JudgeByExpat(document), "") << document;
    EXPECT_NE(JudgeByReader(document), "") << document;
  }
}

TEST(WellFormedness, NamesAreThoseOfTheFourthEdition) {
  for (unsigned c = 0x80; c < 0x10000; c += 7) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string character{static_cast<char>(0xE0 | c >> 12),
                          static_cast<char>(0x80 | (c >> 6 & 0x3F)),
                          static_cast<char>(0x80 | (c & 0x3F))};
    if (c < 0x800)
      character = {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
    for (const std::string& document : {"<" + character + "/>", "<a" + character + "/>"})
      ASSERT_EQ(JudgeByExpat(document).empty(), JudgeByReader(document).empty()) << document;
  }
}

// What the reader refuses on purpose, although it is well-formed.
TEST(WellFormedness, WhatIsNotSupportedIsRefusedByName) {
  const std::vector<std::pair<std::string, std::string>> kRefused = {
      {"<!DOCTYPE a []><a/>", "internal subset"},
      {"<!DOCTYPE a [<!ENTITY x 'y'>]><a>&x;</a>", "internal subset"},
      {"<!DOCTYPE a SYSTEM 'x'><a>&x;</a>", "unknown entity \"x\""},
      {"<\0a\0/\0>\0"s, "byte order mark"},
  };
  for (const auto& [document, cause] : kRefused) {
    EXPECT_EQ(JudgeByExpat(document), "") << document;
    EXPECT_NE(JudgeByReader(document).find(cause), std::string::npos) << document;
  }
}

TEST(WellFormedness, AnAmpersandAloneIsRefusedWithWhatToWrite) {
  const std::string plain = "'&' begins no reference; a plain one is written &amp;";
  for (const auto& [text, cause] :
       {std::pair("a & b", plain), std::pair("&;", plain), std::pair("&lt &gt;", plain),
        std::pair("&Lt;", std::string("unknown entity \"Lt\"")),
        std::pair("&lt;&gt;", std::string())}) {
    for (const std::string& document :
         {"<a>" + std::string(text) + "</a>", "<a b='" + std::string(text) + "'/>"}) {
      const std::string judged = JudgeByReader(document);
      EXPECT_NE(judged.find(cause), std::string::npos) << document << ": " << judged;
      EXPECT_EQ(judged.empty(), cause.empty()) << document;
      EXPECT_EQ(JudgeByExpat(document).empty(), cause.empty()) << document;
    }
  }
}

TEST(WellFormedness, WhatIsWrongIsSaid) {
  const std::vector<std::pair<std::string, std::string>> kCauses = {
      {"<a>]]></a>", "\"]]>\" is not allowed in a text"},
      {"<a>&#;</a>", "malformed character reference"},
      {"<a>&#x;</a>", "malformed character reference"},
      {"<a>&#65 ;</a>", "malformed character reference"},
      {"<a>&#0;</a>", "reference to a character that is not allowed"},
      {"<a><!-- -- --></a>", "\"--\" is not allowed in a comment"},
      {"<a><? p?></a>", "a processing instruction lacks its name"},
      {"<a><?xMl?></a>", "an XML declaration stands only at the very beginning"},
      {"<a><?p+?></a>", "malformed name of a processing instruction"},
      {"<?xml version='1.0' more?><a/>", "malformed XML declaration"},
      {"<?xml version='1.0'", "the text ends before the root element does"},
      {"<a/>x", "something follows the end of the root element"},
      {"<a/>&", "something follows the end of the root element"},
      {"<a></a x>", "malformed end tag"},
      {"<a></ a>", "malformed end tag"},
      {"<a></ab>", "end tag \"ab\" where \"a\" is open"},
      {"<ab></a></ab>", "end tag \"a\" where \"ab\" is open"},
      {"<a><![CDATA[\x01]]></a>", "control character 0x01 is not allowed"},
      {"<a><!-- \xFF --></a>", "a byte that is no character of the document's encoding"},
      {"<a><?p \x80?></a>", "byte 0x80 begins no valid UTF-8 character"},
  };
  for (const auto& [document, cause] : kCauses) EXPECT_EQ(JudgeByReader(document), cause);
}

TEST(WellFormedness, ElementsNestUpTo256Deep) {
  const auto nested = [](int depth) {
    std::string document;
    for (int i = 0; i < depth; ++i) document += "<a>";
    for (int i = 0; i < depth; ++i) document += "</a>";
    return document;
  };
  EXPECT_EQ(JudgeByReader(nested(256)), "");
  EXPECT_EQ(JudgeByReader(nested(257)), "elements are nested more than 256 deep");
}

TEST(WellFormedness, ManyAttributesAreToldApart) {
  std::string attributes;
  for (int i = 0; i < 5000; ++i) attributes += " a" + std::to_string(i) + "=''";
  EXPECT_EQ(JudgeByReader("<a" + attributes + "/>"), "");
  EXPECT_NE(JudgeByReader("<a" + attributes + " a4711=''/>"), "");
}

}  // namespace
}  // namespace svc::xml
