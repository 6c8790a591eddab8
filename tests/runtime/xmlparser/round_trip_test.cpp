// What is read of a document, written out as CIM-XML (DMTF DSP0201) and read again, is the same.
#include <gtest/gtest.h>

#include <string>

#include "host/hskcore/exception.h"
#include "loading.h"
#include "made_documents.h"

namespace svc::xml {
namespace {

using NQRXHSK20::ECIMType;
using NQRXHSK20::TCIMValue;

struct TTypeRow {
  ECIMType type;
  const char* name;
};
constexpr TTypeRow kTypes[] = {
    {ECIMType::kString, "string"}, {ECIMType::kBoolean, "boolean"},   {ECIMType::kChar16, "char16"},
    {ECIMType::kUint8, "uint8"},   {ECIMType::kUint16, "uint16"},     {ECIMType::kUint32, "uint32"},
    {ECIMType::kUint64, "uint64"}, {ECIMType::kSint8, "sint8"},       {ECIMType::kSint16, "sint16"},
    {ECIMType::kSint32, "sint32"}, {ECIMType::kSint64, "sint64"},     {ECIMType::kReal32, "real32"},
    {ECIMType::kReal64, "real64"}, {ECIMType::kDateTime, "datetime"},
};
constexpr const char* kClasses[] = {"A", "B"};
constexpr const char* kNames[] = {"Name", "Version", "files", "n\xC3\xB6", "more"};

const char* NameOf(ECIMType type) {
  for (const TTypeRow& row : kTypes)
    if (row.type == type) return row.name;
  return "(none)";
}

// The text of a value of the type, as a document may write it.
std::string MadeText(ECIMType type, TChance& chance) {
  constexpr const char* kTexts[] = {
      "", " ", "a&amp;b", "&lt;x/&gt;", "\xE6\x97\xA5\n", "<![CDATA[]]&&]]>", "&#13;\t", "]]&gt;"};
  constexpr const char* kReals[] = {"0", "-0", "1.5e10", "+.25", "-1e-30", "3.4028235e38", "INF"};
  constexpr const char* kTimes[] = {"20260131235959.999999+060", "00000003040506.123456:000"};
  const std::string digits = std::to_string(chance.Below(128));
  switch (type) {
    case ECIMType::kString:
      return kTexts[chance.Below(std::size(kTexts))] + digits;
    case ECIMType::kBoolean:
      return chance.OneIn(2) ? "TRUE" : "false";
    case ECIMType::kChar16:
      return chance.OneIn(2) ? "\xE2\x82\xAC" : "&amp;";
    case ECIMType::kReal32:
    case ECIMType::kReal64:
      return kReals[chance.Below(std::size(kReals))];
    case ECIMType::kDateTime:
      return kTimes[chance.Below(std::size(kTimes))];
    default:
      return chance.OneIn(4) ? "0x7f" : digits;
  }
}

std::string MadeValue(ECIMType type, TChance& chance) {
  return "<VALUE>" + MadeText(type, chance) + "</VALUE>";
}

std::string MadeProperty(const char* name, TChance& chance) {
  const TTypeRow& row = kTypes[chance.Below(std::size(kTypes))];
  const bool isArray = chance.OneIn(3);
  const std::string element = isArray ? "PROPERTY.ARRAY" : "PROPERTY";
  std::string values;
  if (isArray) {
    for (std::size_t i = chance.Below(4); i != 0; --i)
      values += chance.OneIn(5) ? "<VALUE.NULL/>" : MadeValue(row.type, chance);
    values = "<VALUE.ARRAY>" + values + "</VALUE.ARRAY>";
  } else {
    values = MadeValue(row.type, chance);
  }
  return "<" + element + " NAME='" + name + "' TYPE='" + row.name + "'>" +
         (chance.OneIn(6) ? "" : values) + "</" + element + ">";
}

std::string MadeProperties(TChance& chance) {
  std::string text;
  for (const char* name : kNames)
    if (!chance.OneIn(3)) text += MadeProperty(name, chance);
  return text;
}

std::string Object(const std::string& contents) {
  return "<VALUE.OBJECT>" + contents + "</VALUE.OBJECT>\n";
}

std::string Classes(const std::string& defaults) {
  return Object("<CLASS NAME='A'>" + defaults + "</CLASS>") +
         Object("<CLASS NAME='B' SUPERCLASS='A'></CLASS>");
}

std::string MadeTypedDocument(TChance& chance) {
  std::string objects = Classes(MadeProperties(chance));
  for (std::size_t i = chance.Below(6); i != 0; --i)
    objects += Object(std::string("<INSTANCE CLASSNAME='") + kClasses[chance.Below(2)] + "'>" +
                      MadeProperties(chance) + "</INSTANCE>");
  return InFrame(objects);
}

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '&' || c == '<' || c == '>' || c == '\r')
      escaped += "&#" + std::to_string(static_cast<int>(c)) + ';';
    else
      escaped += c;
  }
  return escaped;
}

std::string WrittenValue(const TCIMValue& value) {
  return value.IsNull() ? "<VALUE.NULL/>" : "<VALUE>" + Escaped(value.ToString(10)) + "</VALUE>";
}

std::string WrittenProperty(const char* name, const TCIMValue& value) {
  const std::string element = value.IsArray() ? "PROPERTY.ARRAY" : "PROPERTY";
  std::string contents;
  if (value.IsArray() && !value.IsNull()) {
    for (const TCIMValue& item : static_cast<const std::vector<TCIMValue>&>(value))
      contents += WrittenValue(item);
    contents = "<VALUE.ARRAY>" + contents + "</VALUE.ARRAY>";
  } else if (!value.IsNull()) {
    contents = WrittenValue(value);
  }
  return "<" + element + " NAME='" + name + "' TYPE='" + NameOf(value.Type()) + "'>" + contents +
         "</" + element + ">";
}

// The instances of a class alone, in order, with every property that they have.
std::string WrittenInstances(const TLoaded& loaded, const char* className) {
  boost::shared_ptr<NQRXHSK20::ICIMClass> cimClass;
  loaded.objects->GetClass(cimClass, className, {});
  TInstances instances;
  cimClass->EnumerateInstances(NQRXHSK20::TAddToVectorCallback<NQRXHSK20::ICIMInstance>(instances),
                               false, {});
  std::string text;
  for (const auto& instance : instances) {
    std::string properties;
    for (const char* name : kNames) {
      try {
        properties += WrittenProperty(name, ValueOf(instance, name));
      } catch (const NQRXHSK20::THSKException& exception) {
        EXPECT_EQ(exception.GetStatusCode(), NQRXHSK20::THSKStatusCode::kNoSuchProperty);
      }
    }
    text += Object(std::string("<INSTANCE CLASSNAME='") + className + "'>" + properties +
                   "</INSTANCE>");
  }
  return text;
}

// Defaults show in the instances, so that the classes need none.
std::string Written(const TLoaded& loaded) {
  return InFrame(Classes("") + WrittenInstances(loaded, "A") + WrittenInstances(loaded, "B"));
}

TEST(RoundTrip, WhatIsWrittenOfTheObjectsReadsAsTheSameObjects) {
  std::size_t largest = 0;
  for (std::uint64_t seed = 1; seed <= 800; ++seed) {
    TChance chance(seed);
    const std::string document = MadeTypedDocument(chance);
    const TLoaded first = LoadBlock(document);
    ASSERT_EQ(first.message, "") << document;
    const std::string written = Written(first);
    const TLoaded second = LoadBlock(written);
    ASSERT_EQ(second.message, "") << written;
    ASSERT_EQ(Written(second), written) << document;
    ASSERT_EQ(InstancesOf(second, "A").size(), InstancesOf(first, "A").size());
    largest = std::max(largest, written.size());
  }
  EXPECT_GT(largest, 2000U);
}

TEST(RoundTrip, ASmallDocumentReadsAsItIsWritten) {
  const TLoaded loaded = LoadBlock(InFrame(
      Classes("") + Object("<INSTANCE CLASSNAME='B'><PROPERTY NAME='Name'><VALUE>a&amp;&#13;"
                           "</VALUE></PROPERTY><PROPERTY.ARRAY NAME='more' TYPE='uint8'><VALUE."
                           "ARRAY><VALUE>0x10</VALUE><VALUE.NULL/></VALUE.ARRAY></PROPERTY.ARRAY>"
                           "</INSTANCE>")));
  ASSERT_EQ(loaded.message, "");
  EXPECT_EQ(
      WrittenInstances(loaded, "B"),
      "<VALUE.OBJECT><INSTANCE CLASSNAME='B'><PROPERTY NAME='Name' TYPE='string'><VALUE>a&#38;"
      "&#13;</VALUE></PROPERTY><PROPERTY.ARRAY NAME='more' TYPE='uint8'><VALUE.ARRAY><VALUE>"
      "16</VALUE><VALUE.NULL/></VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE></VALUE.OBJECT>\n");
}

}  // namespace
}  // namespace svc::xml
