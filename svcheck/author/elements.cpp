#include "svcheck/author/catalogue_files.h"

#include <algorithm>

#include "report/text.h"
#include "runtime/hskcore/name_table.h"
#include "runtime/xmlparser/cim_elements.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/xml_reader.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

namespace {

using xml::EElement;
using xml::EToken;

// Reads what is there and judges nothing but whether it is well-formed: what the loader refuses,
// the loader says.
class TWalk {
 public:
  TWalk(xml::TDocumentText& text, TDocument& document, TClasses& classes)
      : reader(text),
        tokens(reader),
        lines(text),
        begin(text.Begin()),
        document(document),
        classes(classes) {}

  void Run() {
    while (reader.Next() != EToken::kStart) {
      if (document.dialect || reader.Name() != xml::kDialectTarget) continue;
      document.dialect = TDialect{Line(), std::string(xml::DialectVersion(reader.Text()))};
    }
    ReadChildren();
    document.rootEnd = EndTag();
    reader.CheckEpilogue();
  }

 private:
  std::size_t Line() { return lines.LineAt(reader.Place()); }
  std::uint32_t At(const char* place) const { return static_cast<std::uint32_t>(place - begin); }
  std::uint32_t TokenAt() const { return At(reader.Place()); }
  // The span of the element that began at `start` and has just ended.
  TSpan SpanFrom(std::uint32_t start) const { return {start, At(reader.Here())}; }
  // Where the end tag of the element begins that has just ended; 0 for <ELEMENT/>, which has none.
  std::uint32_t EndTag() const { return reader.Place()[1] == '/' ? TokenAt() : 0; }

  // Reads what the open element holds, up to its end tag.
  void ReadChildren() {
    for (EToken token = reader.Next(); token != EToken::kEnd; token = reader.Next()) {
      if (token != EToken::kStart) continue;
      if (tokens.Element() == EElement::kInstance) {
        ReadInstance();
      } else if (tokens.Element() == EElement::kClass) {
        ReadClass();
      } else {
        const bool isGroup = tokens.Element() == EElement::kDeclGroup;
        ReadChildren();
        if (isGroup) document.groupEnd = EndTag();
      }
    }
  }

  void ReadInstance() {
    const std::uint32_t start = TokenAt();
    TElement element{std::string(tokens.Optional("CLASSNAME")), Line(), ReadProperties(), {}, 0};
    element.span = SpanFrom(start);
    document.elements.push_back(std::move(element));
  }

  void ReadClass() {
    const std::uint32_t start = TokenAt();
    const std::string name(tokens.Optional("NAME"));
    const std::string superclass(tokens.Optional("SUPERCLASS"));
    classes.Add(name, {superclass, ReadProperties()});
    document.classes.push_back(SpanFrom(start));
  }

  std::vector<std::shared_ptr<const TProperty>> ReadProperties() {
    std::vector<std::shared_ptr<const TProperty>> properties;
    for (EToken token = reader.Next(); token != EToken::kEnd; token = reader.Next()) {
      if (token != EToken::kStart) continue;
      const EElement kind = tokens.Element();
      if (kind == EElement::kProperty || kind == EElement::kPropertyArray) {
        properties.push_back(
            std::make_shared<const TProperty>(ReadProperty(kind == EElement::kPropertyArray)));
      } else {
        tokens.Skip();
      }
    }
    return properties;
  }

  TProperty ReadProperty(bool isArray) {
    TProperty property;
    property.name = tokens.Optional("NAME");
    property.type = tokens.Optional("TYPE");
    property.line = Line();
    property.isArray = isArray;
    const std::uint32_t start = TokenAt();
    ReadValues(property, false);
    property.span = SpanFrom(start);
    return property;
  }

  // A null is no value of a property, but an element of an array without a text.
  void ReadValues(TProperty& property, bool areElements) {
    for (EToken token = reader.Next(); token != EToken::kEnd; token = reader.Next()) {
      if (token != EToken::kStart) continue;
      switch (tokens.Element()) {
        case EElement::kValue:
          property.value.begin = At(reader.Here());
          property.values.push_back(ReadText());
          property.value.end = EndTag();
          break;
        case EElement::kValueArray:
          ReadValues(property, true);
          break;
        case EElement::kValueNull:
          if (areElements) property.values.emplace_back();
          tokens.Skip();
          break;
        default:
          tokens.Skip();
      }
    }
  }

  std::string ReadText() {
    std::string text;
    for (EToken token = reader.Next(); token != EToken::kEnd; token = reader.Next()) {
      if (token == EToken::kText) text += reader.Text();
      if (token == EToken::kStart) tokens.Skip();
    }
    return text;
  }

  xml::TXmlReader reader;
  xml::TCimTokens tokens;
  xml::TLineCounter lines;
  const char* begin;
  TDocument& document;
  TClasses& classes;
};

}  // namespace

std::string_view TProperty::Text() const {
  if (!isArray) return values.empty() ? std::string_view() : values.front();
  if (!joined) {
    joined.emplace();
    for (const std::string& value : values) joined->append(value) += ' ';
  }
  return *joined;
}

std::uint64_t TProperty::Digest() const {
  if (!digest) digest = HashText(Text(), HashText(Lowered(name), HashSeed()));
  return *digest;
}

const TProperty* TElement::Find(std::string_view name) const {
  const auto isNamed = [&](const auto& property) {
    return property && EqualWords(property->name, name);
  };
  const auto own = std::find_if(properties.begin(), properties.end(), isNamed);
  if (own != properties.end()) return own->get();
  if (!inherited) return nullptr;
  const auto* const found = std::find_if(inherited->begin(), inherited->end(), isNamed);
  return found == inherited->end() ? nullptr : found->get();
}

std::string_view TElement::Text(std::string_view name) const {
  const TProperty* const property = Find(name);
  return property == nullptr ? std::string_view() : property->Text();
}

TDocument WalkDocument(char* begin, std::size_t size, TClasses& classes) {
  TDocument document;
  try {
    const xml::TUtf8Document utf8 = xml::ToUtf8(begin, begin + size);
    xml::TDocumentText text(utf8.begin, utf8.end);
    TWalk(text, document, classes).Run();
  } catch (const xml::TDocumentError& error) {
    document.malformed = TProblem{error.line, error.what()};
  }
  return document;
}

}  // namespace svc::catalogue
