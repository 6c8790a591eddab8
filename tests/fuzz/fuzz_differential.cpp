// The reader against other libraries: what is a document is judged as Expat judges it, and the
// values are those that pugixml reads; and against itself: the same comes of a document that is
// read through a window.
#include <boost/algorithm/string/predicate.hpp>
#include <pugixml.hpp>

#include "tests/fuzz/fuzz_support.h"
#include "tests/runtime/xmlparser/judges.h"

using namespace NQRXHSK20;
using namespace svc::fuzz;

namespace {

using TValues = std::vector<std::string>;

// Refused on purpose, although well-formed.
bool IsRefusedOnPurpose(const std::string& verdict) {
  for (const char* purpose : {"internal subset", "unknown entity", "byte order mark", "256 deep"}) {
    if (verdict.find(purpose) != std::string::npos) return true;
  }
  return false;
}

void CompareVerdicts(std::string_view document) {
  const std::string expat = svc::xml::JudgeByExpat(document);
  const std::string reader = svc::xml::JudgeByReader(document);
  if (expat.empty() && IsRefusedOnPurpose(reader)) return;
  if (expat.empty() != reader.empty())
    std::fprintf(stderr, "Expat: %s\nreader: %s\n", expat.c_str(), reader.c_str());
  Require(expat.empty() == reader.empty(), "the verdict is Expat's");
}

// The values of the property P of the instances of A.
TValues ValuesOf(const boost::shared_ptr<ICIMNamespace>& source) {
  boost::shared_ptr<ICIMClass> cimClass;
  source->GetClass(cimClass, "A", CIMContext());
  std::vector<boost::shared_ptr<ICIMInstance>> instances;
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), false, CIMContext());
  TValues values;
  for (const auto& instance : instances) {
    boost::shared_ptr<ICIMProperty> property;
    instance->GetProperty(property, "P", CIMContext());
    values.push_back(property->Value(CIMContext()).ToString(10));
  }
  return values;
}

std::string TextOf(const pugi::xml_node& node) {
  std::string text;
  for (const pugi::xml_node& child : node.children()) text += child.value();
  return text;
}

struct TValueWalker : pugi::xml_tree_walker {
  bool for_each(pugi::xml_node& node) override {
    if (std::string_view(node.name()) != "INSTANCE") return true;
    if (!boost::iequals(node.attribute("CLASSNAME").value(), "A")) return true;
    values.emplace_back();
    for (const pugi::xml_node& property : node.children("PROPERTY")) {
      if (!boost::iequals(property.attribute("NAME").value(), "P")) continue;
      const std::string_view type = property.attribute("TYPE").as_string("string");
      isComparable = isComparable && type == "string";
      values.back() = TextOf(property.child("VALUE"));
    }
    return true;
  }
  TValues values;
  bool isComparable = true;  // Values of other types have a form of their own.
};

void CompareValues(std::string_view document) {
  const auto target = NewNamespace();
  DeclareClass(target, "A", {"P"});
  if (!ParseDocument(target, document, false)) return;
  pugi::xml_document tree;
  const unsigned flags = pugi::parse_ws_pcdata | pugi::parse_cdata | pugi::parse_escapes |
                         pugi::parse_eol | pugi::parse_wconv_attribute;
  if (!tree.load_buffer(document.data(), document.size(), flags)) return;
  TValueWalker walker;
  tree.traverse(walker);
  if (document.find("CLASS NAME") != std::string_view::npos || !walker.isComparable) return;
  Require(ValuesOf(target) == walker.values, "the values are those that pugixml reads");
}

// Through windows of sizes that the input itself varies, and by one thread or several.
void CompareWays(std::string_view document) {
  unsigned threads = 1;
  const std::size_t size = document.size();
  for (const std::size_t window : {std::size_t{1}, size / 3 + 1, size * 2 / 3 + 1, size + 1}) {
    const std::string difference = svc::xml::DifferenceOfStreaming(
        document, {.window = window, .threads = threads++, .smallestPart = 1});
    if (!difference.empty()) std::fprintf(stderr, "window %zu: %s\n", window, difference.c_str());
    Require(difference.empty(), "a document streamed is the same as one read plainly");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view document = AsText(data, size);
  CompareVerdicts(document);
  CompareValues(document);
  CompareWays(document);
  return 0;
}
