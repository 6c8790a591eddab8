// The objects of made documents are those that pugixml finds in them.
#include <gtest/gtest.h>

#include <map>
#include <pugixml.hpp>
#include <string>

#include "loading.h"
#include "made_documents.h"

namespace svc::xml {
namespace {

std::string TextOf(const pugi::xml_node& node) {
  std::string text;
  for (const pugi::xml_node& child : node.children()) text += child.value();
  return text;
}

// As TCIMValue::ToString shows a property, with a mark for null.
std::string ExpectedText(const pugi::xml_node& property) {
  if (property.name() == std::string("PROPERTY")) {
    const pugi::xml_node value = property.child("VALUE");
    return value ? TextOf(value) : "(null)";
  }
  const pugi::xml_node array = property.child("VALUE.ARRAY");
  if (!array) return "(null)";
  std::string text;
  for (const pugi::xml_node& value : array.children("VALUE"))
    text += (text.empty() ? "{ " : ", ") + TextOf(value);
  return text.empty() ? "" : text + " }";
}

void ExpectSameInstance(const pugi::xml_node& expected,
                        const boost::shared_ptr<NQRXHSK20::ICIMInstance>& instance) {
  for (const pugi::xml_node& property : expected.children()) {
    if (property.type() != pugi::node_element) continue;
    const auto value = ValueOf(instance, property.attribute("NAME").value());
    const std::string text = ExpectedText(property);
    EXPECT_EQ(value.IsArray(), property.name() == std::string("PROPERTY.ARRAY"));
    if (text.empty() && value.IsArray()) continue;  // An array without elements.
    EXPECT_EQ(value.IsNull() ? "(null)" : value.ToString(10), text);
  }
}

void ExpectSameObjects(const std::string& document) {
  pugi::xml_document tree;
  ASSERT_TRUE(tree.load_buffer(document.data(), document.size(),
                               pugi::parse_default | pugi::parse_ws_pcdata));
  const TLoaded loaded = LoadFile(document);
  ASSERT_EQ(loaded.message, "") << document;
  std::map<std::string, TInstances> instances;
  for (const char* name : {"A", "B"}) instances[name] = InstancesOf(loaded, name);
  std::map<std::string, std::size_t> next;
  for (const auto& found : tree.select_nodes("//INSTANCE")) {
    const std::string name = found.node().attribute("CLASSNAME").value();
    const std::size_t number = next[name]++;
    ASSERT_LT(number, instances[name].size());
    ExpectSameInstance(found.node(), instances[name][number]);
  }
  EXPECT_EQ(next["A"], instances["A"].size());
  EXPECT_EQ(next["B"], instances["B"].size());
}

void ExpectObjectsOfMade(std::string (*make)(TChance&), std::uint64_t seeds) {
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    TChance chance(seed);
    const std::string document = make(chance);
    ExpectSameObjects(document);
    if (testing::Test::HasFailure()) FAIL() << "seed " << seed << "\n" << document;
  }
}

TLoaded LoadInstance(const std::string& property) {
  return LoadBlock(WithClass("<VALUE.OBJECT><INSTANCE CLASSNAME='K'>" + property +
                             "<VALUE>7</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>"));
}

TEST(Objects, HaveTheirNameWhereverItStands) {
  EXPECT_EQ(OnlyValue(LoadInstance("<PROPERTY TYPE='uint8' NAME='P'>")), "7");
  EXPECT_EQ(OnlyValue(LoadInstance("<PROPERTY CLASSORIGIN='C' TYPE='uint8' NAME='P'>")), "7");
  EXPECT_EQ(OnlyValue(LoadInstance("<PROPERTY NAME='P' TYPE='uint8'>")), "7");
}

TEST(Objects, HaveABlankForEachLineEndInTheirName) {
  const std::pair<std::string, std::string> names[] = {
      {"a\r\nb", "a b"},    {"a\nb", "a b"},    {"a\rb", "a b"},      {"a\tb", "a b"},
      {"a\r\n\nb", "a  b"}, {"a\n\rb", "a  b"}, {"a\r\r\nb", "a  b"}, {"a\r", "a "}};
  for (const auto& [written, name] : names) {
    const TLoaded loaded = LoadInstance("<PROPERTY NAME='" + written + "'>");
    ASSERT_EQ(loaded.message, "");
    EXPECT_EQ(ValueOf(InstancesOf(loaded, "K").at(0), name).ToString(10), "7") << name;
  }
}

TEST(Objects, MadeDocumentsGiveTheObjectsThatPugixmlSees) {
  ExpectObjectsOfMade(MakeDocument, 3000);
}

TEST(Objects, RegularDocumentsGiveTheObjectsThatPugixmlSees) {
  ExpectObjectsOfMade(MakeRegularDocument, 1500);
}

}  // namespace
}  // namespace svc::xml
