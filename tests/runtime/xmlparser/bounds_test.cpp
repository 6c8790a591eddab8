// Numbers, names and marks of a document at the edges of what fits.
#include <gtest/gtest.h>

#include "base/shown_text.h"
#include "loading.h"
#include "runtime/xmlparser/cim_elements.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/member_plan.h"

namespace svc::xml {
namespace {

std::string Property(const std::string& value) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='P'><VALUE>" + value +
         "</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>";
}

// 2^31, 2^32, 2^32 + 65, 2^63, 2^64 and 2^64 + 65, which would be an A if they wrapped.
const std::vector<std::pair<std::string, std::string>> kLarge = {
    {"2147483648", "80000000"},
    {"4294967296", "100000000"},
    {"4294967361", "100000041"},
    {"9223372036854775808", "8000000000000000"},
    {"18446744073709551616", "10000000000000000"},
    {"18446744073709551681", "10000000000000041"}};

TEST(CharacterReference, EndsWhereUnicodeDoes) {
  for (const char* last : {"&#1114111;", "&#x10FFFF;", "&#x0000000010ffff;", "&#00001114111;"}) {
    EXPECT_EQ(OnlyValue(LoadBlock(WithClass(Property(last)))), "\xF4\x8F\xBF\xBF") << last;
  }
  for (const char* beyond : {"&#1114112;", "&#x110000;", "&#x11FFFF;"}) {
    EXPECT_EQ(LoadBlock(WithClass(Property(beyond))).status, 1) << beyond;
  }
  for (const auto& [decimal, hexadecimal] : kLarge) {
    EXPECT_EQ(LoadBlock(WithClass(Property("&#" + decimal + ";"))).status, 1) << decimal;
    EXPECT_EQ(LoadBlock(WithClass(Property("&#x" + hexadecimal + ";"))).status, 1) << hexadecimal;
  }
}

// The last of each length in UTF-8 and the first of the next.
const std::vector<std::pair<unsigned, std::string>> kEncoded = {
    {0x7F, "\x7F"},          {0x80, "\xC2\x80"},       {0x7FF, "\xDF\xBF"},
    {0x800, "\xE0\xA0\x80"}, {0x1234, "\xE1\x88\xB4"}, {0xFFFD, "\xEF\xBF\xBD"}};

TEST(CharacterReference, IsWrittenAsUtf8) {
  for (const auto& [character, bytes] : kEncoded) {
    const std::string reference = "&#" + std::to_string(character) + ";";
    EXPECT_EQ(OnlyValue(LoadBlock(WithClass(Property(reference)))), bytes) << character;
  }
  EXPECT_EQ(OnlyValue(LoadBlock(WithClass(Property("&#x10000;&#x5abCD;")))),
            "\xF0\x90\x80\x80\xF1\x9A\xAF\x8D");
}

TEST(CharacterReference, IsOfACharacterThatXmlAllows) {
  for (const char* good :
       {"&#9;", "&#xA;", "&#xD;", "&#x20;", "&#xD7FF;", "&#xE000;", "&#xFFFD;", "&#x10000;"}) {
    EXPECT_EQ(LoadBlock(WithClass(Property(good))).status, 0) << good;
  }
  for (const char* bad : {"&#0;", "&#8;", "&#xB;", "&#xC;", "&#xE;", "&#x1F;", "&#xD800;",
                          "&#xDFFF;", "&#xFFFE;", "&#xFFFF;"}) {
    EXPECT_EQ(LoadBlock(WithClass(Property(bad))).status, 1) << bad;
  }
}

TEST(DialectNumber, DoesNotWrap) {
  for (const auto& [large, unused] : kLarge) {
    EXPECT_TRUE(IsDialect402(large + ".0")) << large;
    EXPECT_TRUE(IsDialect402("4." + large)) << large;
    EXPECT_FALSE(IsDialect402("3." + large)) << large;
  }
  // 2^32 + 4 and 2^64 + 4, 2^32 + 1 and 2^64 + 1.
  for (const char* major : {"4294967300", "18446744073709551620", "4294967295", "1000000"}) {
    EXPECT_TRUE(IsDialect402(std::string(major) + ".1")) << major;
  }
  for (const char* minor : {"4294967297", "18446744073709551617", "2", "3"}) {
    EXPECT_TRUE(IsDialect402("4." + std::string(minor))) << minor;
  }
  EXPECT_FALSE(IsDialect402("4.1"));
  EXPECT_FALSE(IsDialect402("3.2"));
  EXPECT_TRUE(IsDialect402("5.0"));
}

std::string Units(const std::vector<unsigned>& units, bool isLittle) {
  std::string bytes;
  for (const unsigned unit : units) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += isLittle ? low : high;
    bytes += isLittle ? high : low;
  }
  return bytes;
}

std::string Utf16(const std::string& begin, const std::vector<unsigned>& middle,
                  const std::string& end, bool isLittle) {
  std::vector<unsigned> units = {0xFEFF};
  for (const char c : begin) units.push_back(static_cast<unsigned char>(c));
  units.insert(units.end(), middle.begin(), middle.end());
  for (const char c : end) units.push_back(static_cast<unsigned char>(c));
  return Units(units, isLittle);
}

TEST(Utf16, SurrogatesStandInPairs) {
  const std::string document = WithClass(Property("|"));
  const std::string begin = document.substr(0, document.find('|'));
  const std::string end = document.substr(document.find('|') + 1);
  const auto load = [&](const std::vector<unsigned>& middle, bool isLittle) {
    return LoadBlock(Utf16(begin, middle, end, isLittle));
  };
  for (const bool isLittle : {false, true}) {
    EXPECT_EQ(OnlyValue(load({0xD800, 0xDC00}, isLittle)), "\xF0\x90\x80\x80");
    EXPECT_EQ(OnlyValue(load({0xDBFF, 0xDFFF - 2}, isLittle)), "\xF4\x8F\xBF\xBD");
    EXPECT_EQ(OnlyValue(load({0xD7FF, 0xE000}, isLittle)), "\xED\x9F\xBF\xEE\x80\x80");
    for (const std::vector<unsigned>& broken : {std::vector<unsigned>{0xD800},
                                                {0xDBFF},
                                                {0xDC00},
                                                {0xDFFF},
                                                {0xD800, 0xD800},
                                                {0xD800, 0xDBFF},
                                                {0xD800, 'x'},
                                                {0xD800, 0xE000},
                                                {0xD800, 0xD7FF},
                                                {0xDC00, 0xD800},
                                                {0xDC00, 0xDC00},
                                                {0xD800, 0xDC00, 0xDC00},
                                                {0xD800, 0xD800, 0xDC00}}) {
      const TLoaded loaded = load(broken, isLittle);
      EXPECT_EQ(loaded.status, 1);
      EXPECT_EQ(loaded.message, "line 3: a byte that is no character of the document's encoding")
          << broken.size() << ' ' << broken.front();
    }
  }
}

TEST(Utf16, IsWrittenAsUtf8) {
  const std::string document = WithClass(Property("|"));
  const std::string begin = document.substr(0, document.find('|'));
  const std::string end = document.substr(document.find('|') + 1);
  for (const auto& [unit, bytes] : kEncoded) {
    for (const bool isLittle : {false, true})
      EXPECT_EQ(OnlyValue(LoadBlock(Utf16(begin, {unit}, end, isLittle))), bytes) << unit;
  }
}

TEST(Latin1, IsWrittenAsUtf8) {
  const std::string declared = "<?xml version='1.0' encoding='iso-8859-1'?>";
  EXPECT_EQ(OnlyValue(LoadBlock(declared + WithClass(Property("\x7F\x80\xA0\xBF\xC0\xFF")))),
            "\x7F\xC2\x80\xC2\xA0\xC2\xBF\xC3\x80\xC3\xBF");
  // Each byte of the last 128 takes two; were one of them not counted, the block would not do.
  constexpr std::size_t kMany = std::size_t{8} << 20;
  for (const char byte : {'\x80', '\xFF'}) {
    std::string expected;
    for (std::size_t i = 0; i < kMany; ++i) expected += byte == '\x80' ? "\xC2\x80" : "\xC3\xBF";
    const std::string value(kMany, byte);
    EXPECT_TRUE(OnlyValue(LoadBlock(declared + WithClass(Property(value)))) == expected);
  }
}

TEST(Utf16, EndsWithAWholeUnitAndAWholePair) {
  const std::string document = WithClass(Property("x"));
  for (const bool isLittle : {false, true}) {
    const std::string whole = Utf16(document, {}, "", isLittle);
    EXPECT_EQ(LoadFile(whole).status, 0);
    EXPECT_EQ(LoadFile(whole + '\x20').status, 1) << "half a unit";
    EXPECT_EQ(LoadFile(whole + Units({0xD800}, isLittle)).status, 1);
    EXPECT_EQ(LoadFile(whole + Units({0xD800}, isLittle) + '\xDC').status, 1);
    EXPECT_EQ(LoadBlock(whole.substr(0, whole.size() - 3)).status, 1);
  }
}

TEST(Utf16, MayDeclareItsOrderWhereThatIsTrue) {
  const auto messageOf = [](const std::string& encoding, bool isLittle) {
    return LoadBlock(Utf16("<?xml version='1.0' encoding='" + encoding + "'?>" + WithClass(""), {},
                           "", isLittle))
        .message;
  };
  const auto refusal = [](const std::string& encoding) {
    return "line 1: the document is UTF-16, but its declaration says \"" + encoding + "\"";
  };
  for (const bool isLittle : {false, true}) {
    EXPECT_EQ(messageOf("utf-16", isLittle), "");
    EXPECT_EQ(messageOf("UTF-16LE", isLittle), isLittle ? "" : refusal("UTF-16LE"));
    EXPECT_EQ(messageOf("UTF-16be", isLittle), isLittle ? refusal("UTF-16be") : "");
    EXPECT_EQ(messageOf("UTF-8", isLittle), refusal("UTF-8"));
    EXPECT_EQ(messageOf("UTF-1", isLittle), refusal("UTF-1"));
  }
}

// What the beginning of a document says of whether it can be read piece by piece.
TEST(PlainUtf8, IsToldByTheBeginning) {
  for (const std::string& plain :
       {std::string("<a/>"), std::string(), std::string("<"), std::string("<\0", 2),
        std::string("<?xml version='1.0'?>"), std::string("<?xml version='1.0' encoding='Utf-8'?>"),
        std::string("<?xmlx encoding='x'?>"), std::string("<?xml version='1.0' encoding=''?>"),
        std::string("\xEF\xBB"), std::string("\xFF")}) {
    EXPECT_TRUE(IsPlainUtf8(plain)) << plain;
  }
  for (const std::string& other :
       {std::string("\xEF\xBB\xBF<a/>"), std::string("\xFF\xFE"), std::string("\xFE\xFF"),
        std::string("<\0a", 3), std::string("\0<", 2), std::string("<?xml version='1.0'"),
        std::string("<?xml version='1.0' encoding='UTF-16'?>"),
        std::string("<?xml version='1.0' encoding='US-ASCII'?>")}) {
    EXPECT_FALSE(IsPlainUtf8(other)) << other;
  }
}

TEST(Utf8, IsMadeOfEveryEncodingThereIs) {
  const auto made = [](std::string bytes) {
    const TUtf8Document document = ToUtf8(bytes.data(), bytes.data() + bytes.size());
    return std::string(document.begin, document.end);
  };
  const std::string ascii = "<?xml version='1.0' encoding='US-ascii'?>";
  EXPECT_EQ(made(ascii + "\x7F\x80\xFE"), ascii + "\x7F\xFF\xFF");
  EXPECT_EQ(made("\xEF\xBB\xBF<a/>"), "<a/>");
  EXPECT_EQ(made("\xEF\xBB\xBF"), "");
  EXPECT_EQ(made("\xFE\xFF"), "");
  EXPECT_EQ(made(std::string("\xFF\xFEx", 3)), "\xFF");
  EXPECT_EQ(made(std::string("\xFF\xFE\0\xD8", 4)), "\xFF");
  EXPECT_EQ(made(std::string("\xFF\xFE\0\xD8x", 5)), "\xFF");
  EXPECT_EQ(made(std::string("\xFE\xFF\xDB\xFF\xDF\xFF", 6)), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(made(std::string("<\0\0\0", 4)), std::string("<\0\0\0", 4));
}

std::string Reference(const std::string& value) {
  return "<VALUE.REFERENCE><INSTANCENAME CLASSNAME='C'><KEYBINDING NAME='k'>" + value +
         "</KEYBINDING></INSTANCENAME></VALUE.REFERENCE>";
}
std::string KeyValue(const std::string& text) { return "<KEYVALUE>" + text + "</KEYVALUE>"; }
std::string Object(const std::string& reference) {
  return WithClass("<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY.REFERENCE NAME='P'>" +
                   reference + "</PROPERTY.REFERENCE></INSTANCE></VALUE.OBJECT>");
}

TEST(ObjectPath, TakesAnyNumberOfReferencesSideBySide) {
  std::string keys;
  std::string path = "C";
  for (int i = 0; i < 5; ++i) {
    keys += "<KEYBINDING NAME='k'>" + Reference(KeyValue("v")) + "</KEYBINDING>";
    path += (i == 0 ? "." : ",") + std::string("k=\"C.k=\\\"v\\\"\"");
  }
  const TLoaded loaded = LoadBlock(Object("<VALUE.REFERENCE><INSTANCENAME CLASSNAME='C'>" + keys +
                                          "</INSTANCENAME></VALUE.REFERENCE>"));
  EXPECT_EQ(loaded.message, "");
  EXPECT_EQ(OnlyValue(loaded), path);
}

TEST(ObjectPath, NestsThreeReferences) {
  const std::string two = Reference(Reference(KeyValue("a\"\\")));
  EXPECT_EQ(OnlyValue(LoadBlock(Object(Reference(KeyValue("a\"\\"))))), R"(C.k="a\"\\")");
  EXPECT_EQ(OnlyValue(LoadBlock(Object(two))), R"(C.k="C.k=\"a\\\"\\\\\"")");
  EXPECT_EQ(OnlyValue(LoadBlock(Object(Reference(two)))),
            R"(C.k="C.k=\"C.k=\\\"a\\\\\\\"\\\\\\\\\\\"\"")");
  const TLoaded four = LoadBlock(Object(Reference(Reference(two))));
  EXPECT_EQ(four.status, 1);
  EXPECT_EQ(four.message, "line 3: references in keys are nested too deep");
}

TEST(ObjectPath, IsBoundedWhereItNests) {
  constexpr std::size_t kMost = 1 << 20;
  const std::size_t around = std::string(R"(C.k="C.k=\")").size();
  const auto load = [&](std::size_t length) {
    return LoadBlock(Object(Reference(Reference(KeyValue(std::string(length, 'x'))))));
  };
  EXPECT_EQ(load(kMost - around - 2).status, 0);
  const TLoaded beyond = load(kMost - around - 1);
  EXPECT_EQ(beyond.status, 1);
  EXPECT_EQ(beyond.message, "line 3: the reference in a key is longer than 1048576 bytes");
  EXPECT_EQ(LoadBlock(Object(Reference(KeyValue(std::string(2 * kMost, '"'))))).status, 0)
      << "one level is not bounded";
}

// Tags of up to so many attributes are remembered whole.
TEST(RememberedTag, OfAnyNumberOfAttributesReadsTheSameAgain) {
  for (std::size_t count = TKnownTag::kMaxAttributes - 1; count < TKnownTag::kMaxAttributes + 3;
       ++count) {
    std::string attributes;
    for (std::size_t i = 1; i < count; ++i) attributes += " a" + std::to_string(i) + "=''";
    std::string objects;
    for (const char* value : {"1", "2", "3"}) {
      objects += "<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY" + attributes +
                 " NAME='P'><VALUE>" + value + "</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>\n";
    }
    const TLoaded loaded = LoadBlock(WithClass(objects));
    ASSERT_EQ(loaded.status, 0) << loaded.message;
    std::string values;
    for (const auto& instance : InstancesOf(loaded, "K")) {
      values += ValueOf(instance, "P").ToString(10);
    }
    EXPECT_EQ(values, "123") << count;
  }
}

TEST(RememberedTag, IsFoundAmongTheOthers) {
  TTagMemory memory;
  std::vector<std::pair<std::string, const TKnownTag*>> tags;
  for (const char* name : {"A", "B", "C", "D", "E", "F"}) {
    const std::string bytes = "<" + std::string(name) + ">";
    EXPECT_EQ(memory.Find(bytes.data(), bytes.data() + 3), nullptr) << name;
    tags.emplace_back(bytes, memory.Add(bytes.data(), {3, 1, false, true}, {}));
  }
  for (const auto& [bytes, tag] : tags) {
    const std::string text = bytes + "text>";
    EXPECT_NE(tag, nullptr);
    EXPECT_EQ(memory.Find(text.data(), text.data() + text.size()), tag) << bytes;
    EXPECT_EQ(memory.Find(text.data(), text.data() + 3), tag) << bytes;
    EXPECT_EQ(memory.Find(text.data(), text.data() + 2), nullptr) << bytes;
    EXPECT_EQ(memory.Add(bytes.data(), {3, 1, false, true}, {}), tag) << bytes;
  }
}

TEST(RememberedTag, HoldsNoMoreAttributesThanItHasRoomFor) {
  const std::string bytes = "<a b='' c='' d='' e='' f='' g=''>";
  const TTagForm form{static_cast<std::uint32_t>(bytes.size()), 1, false, true};
  for (std::size_t count = 4; count < 8; ++count) {
    TTagMemory memory;
    const std::vector<TAttribute> attributes(count);
    TKnownTag* const tag = memory.Add(bytes.data(), form, attributes);
    EXPECT_EQ(tag != nullptr, count <= TKnownTag::kMaxAttributes) << count;
    EXPECT_EQ(tag == nullptr ? count : tag->attributeCount, count);
  }
}

// An end tag is compared in whole blocks: it is looked for only where these are.
TEST(RememberedTag, LooksForItsEndTagWithinTheText) {
  for (const std::size_t length : {1u, 15u, 16u, 17u, 111u, 112u, 113u, 125u, 126u}) {
    const std::string name(length, 'n');
    const std::string begin = "<" + name + ">";
    const TTagForm form{static_cast<std::uint32_t>(begin.size()),
                        static_cast<std::uint32_t>(length), false, true};
    TTagMemory memory;
    const TKnownTag* const tag = memory.Add(begin.data(), form, {});
    ASSERT_NE(tag, nullptr);
    const std::string end = "</" + name + ">";
    for (std::size_t size = end.size(); size <= TKnownTag::kMaxEndTag + 1; ++size) {
      // Of just this size, so that a sanitizer sees a byte read beyond it.
      const std::unique_ptr<char[]> block(new char[size]);
      std::fill_n(block.get(), size, ' ');
      std::copy(end.begin(), end.end(), block.get());
      EXPECT_EQ(tag->IsClosedAt(block.get(), block.get() + size), size >= TKnownTag::kMaxEndTag);
    }
  }
}

TEST(CutName, IsCutAtAWholeCharacter) {
  EXPECT_EQ(CutName(""), "");
  for (const std::size_t size : {kLongestName - 1, kLongestName}) {
    EXPECT_EQ(CutName(std::string(size, 'x')), std::string(size, 'x'));
  }
  EXPECT_EQ(CutName(std::string(kLongestName + 1, 'x')), std::string(kLongestName, 'x') + "...");
  for (std::size_t before = kLongestName - 3; before < kLongestName; ++before) {
    const std::string plain(before, 'x');
    EXPECT_EQ(CutName(plain + "\xF0\x9F\x98\x80" + "yyyy"), plain + "...") << before;
  }
  const std::string fits = std::string(kLongestName - 4, 'x') + "\xF0\x9F\x98\x80";
  EXPECT_EQ(CutName(fits + "y"), fits + "...");
}

TEST(CutName, CutsEveryNameInAMessage) {
  const std::string name(100'000, 'n');
  for (const std::string& objects :
       {"<" + name + "/>", "</" + name + ">", "<A a" + name + "='' a" + name + "=''/>",
        "<VALUE.OBJECT><INSTANCE CLASSNAME='" + name + "'/></VALUE.OBJECT>",
        "<VALUE.OBJECT><CLASS NAME='C' SUPERCLASS='" + name + "'/></VALUE.OBJECT>",
        "<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='P' TYPE='" + name +
            "'/></INSTANCE></VALUE.OBJECT>",
        "<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='" + name + "'/><PROPERTY NAME='" +
            name + "'/></INSTANCE></VALUE.OBJECT>",
        "<VALUE.OBJECT><INSTANCE CLASSNAME='K'><PROPERTY NAME='" + name +
            "'><VALUE/><VALUE/></PROPERTY></INSTANCE></VALUE.OBJECT>",
        Property("&" + name + ";"),
        "<VALUE.OBJECT><INSTANCE CLASSNAME='K'><" + name + "/></INSTANCE></VALUE.OBJECT>"}) {
    const TLoaded loaded = LoadBlock(WithClass(objects));
    EXPECT_NE(loaded.status, 0) << objects.substr(0, 80);
    EXPECT_NE(loaded.message.find(name.substr(0, 60)), std::string::npos) << loaded.message;
    EXPECT_LT(loaded.message.size(), 700U);
  }
}

}  // namespace
}  // namespace svc::xml
