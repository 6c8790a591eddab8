#include <algorithm>
#include <unordered_set>
#include <utility>

#include "report/text.h"
#include "rules/names.h"
#include "runtime/hskcore/name_table.h"
#include "runtime/xmlparser/cim_elements.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/xml_reader.h"
#include "svcheck/author/catalogue_files.h"
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

void TClasses::Add(const std::string& name, const TClass& added) {
  current.reset();
  auto& [known, places] = classes[Lowered(name)];
  if (known.superclass.empty()) known.superclass = added.superclass;
  // A property that one declaration writes twice is kept twice: the first that has a default
  // counts.
  const bool isNew = known.properties.empty();
  for (const auto& property : added.properties) {
    const auto [place, isFirst] = places.emplace(Lowered(property->name), known.properties.size());
    if (isNew || isFirst) {
      known.properties.push_back(property);
    } else {
      known.properties[place->second] = property;
    }
  }
}

// Makes the index: enters and leaves every class, and notes at each step what has changed.
class TClasses::TWalk {
 public:
  TWalk(const std::map<std::string, TKnown>& classes, TIndex& index)
      : classes(classes), index(index) {}

  void Run() {
    for (const auto& [name, known] : classes) {
      if (!known.declared.superclass.empty())
        derived[Lowered(known.declared.superclass)].push_back(&name);
    }
    for (const auto& [name, known] : classes) {
      if (index.spans.count(name) == 0) Walk(TopOf(name));
    }
  }

 private:
  struct TOpen {
    std::string name;
    std::size_t next = 0;                               // Of those that derive from it.
    std::uint64_t digest = 0;                           // Before it was entered.
    std::vector<std::pair<std::string, TStep>> hidden;  // What its properties hide.
  };

  // The last class above that has not been walked over. A circle, which no loader takes, is cut
  // open where it closes.
  std::string TopOf(const std::string& name) const {
    std::string top = name;
    std::unordered_set<std::string> met{top};
    for (;;) {
      const auto known = classes.find(top);
      if (known == classes.end() || known->second.declared.superclass.empty()) return top;
      std::string above = Lowered(known->second.declared.superclass);
      if (!met.insert(above).second) return top;
      top = std::move(above);
    }
  }

  void Walk(const std::string& top) {
    Enter(top);
    while (!open.empty()) {
      const auto below = derived.find(open.back().name);
      if (below == derived.end() || open.back().next == below->second.size()) {
        Leave();
      } else if (const std::string& name = *below->second[open.back().next++];
                 index.spans.count(name) == 0) {
        Enter(name);
      }
    }
  }

  void Enter(const std::string& name) {
    TOpen& entered = open.emplace_back();
    entered.name = name;
    entered.digest = digest;
    index.spans[name].entered = step;
    if (const auto known = classes.find(name); known != classes.end()) {
      Declare(known->second, entered);
    }
    index.digests[name] = digest;
    ++step;
  }

  void Declare(const TKnown& known, TOpen& entered) {
    std::unordered_map<std::string, std::shared_ptr<const TProperty>> own;
    for (const auto& property : known.declared.properties) {
      auto& kept = own[Lowered(property->name)];
      if (!kept && !property->values.empty()) kept = property;
    }
    for (auto& [name, property] : own) {
      std::vector<TStep>& steps = index.steps[name];
      TStep before = steps.empty() ? TStep{0, false, nullptr} : steps.back();
      if (before.property) digest -= before.property->Digest();
      if (property) digest += property->Digest();
      steps.push_back({step, true, std::move(property)});
      entered.hidden.emplace_back(name, std::move(before));
    }
  }

  void Leave() {
    TOpen& left = open.back();
    index.spans[left.name].left = step;
    digest = left.digest;
    for (auto& [name, before] : left.hidden) {
      before.step = step;
      index.steps[name].push_back(std::move(before));
    }
    ++step;
    open.pop_back();
  }

  const std::map<std::string, TKnown>& classes;
  TIndex& index;
  std::unordered_map<std::string, std::vector<const std::string*>> derived;
  std::vector<TOpen> open;  // The class that the walk is at, and those above.
  std::size_t step = 0;
  std::uint64_t digest = 0;  // Of the defaults that the class has which the walk is at.
};

TClasses::TIndex& TClasses::Index() const {
  if (!current) {
    current = std::make_unique<TIndex>();
    TWalk(classes, *current).Run();
  }
  return *current;
}

const TClasses::TStep* TClasses::Find(const TIndex& index, const std::string& className,
                                      const std::string& property) {
  const auto span = index.spans.find(className);
  const auto steps = index.steps.find(property);
  if (span == index.spans.end() || steps == index.steps.end()) return nullptr;
  const auto behind = std::upper_bound(
      steps->second.begin(), steps->second.end(), span->second.entered,
      [](std::size_t entered, const TStep& later) { return entered < later.step; });
  return behind == steps->second.begin() || !std::prev(behind)->isDeclared ? nullptr
                                                                           : &*std::prev(behind);
}

bool TClasses::Derives(std::string_view name, std::string_view base) const {
  if (EqualWords(name, base)) return true;
  const TIndex& index = Index();
  const auto below = index.spans.find(Lowered(name));
  const auto above = index.spans.find(Lowered(base));
  if (below == index.spans.end() || above == index.spans.end()) return false;
  return above->second.entered < below->second.entered && below->second.left < above->second.left;
}

bool TClasses::Declares(std::string_view className, std::string_view property) const {
  return Find(Index(), Lowered(className), Lowered(property)) != nullptr;
}

const std::shared_ptr<const TInherited>& TClasses::InheritedOf(TIndex& index,
                                                               const std::string& className) {
  std::shared_ptr<const TInherited>& known = index.inherited[className];
  if (known) return known;
  const auto made = std::make_shared<TInherited>();
  for (std::size_t i = 0; i < made->size(); ++i) {
    const TStep* const found = Find(index, className, Lowered(rules::kUpdateProperties[i].name));
    if (found != nullptr) (*made)[i] = found->property;
  }
  return known = made;
}

void TClasses::Complete(TElement& element) const {
  TIndex& index = Index();
  const std::string className = Lowered(element.className);
  element.inherited = InheritedOf(index, className);
  const auto digest = index.digests.find(className);
  element.inheritedDigest = digest == index.digests.end() ? 0 : digest->second;
  std::unordered_set<std::string> written;
  for (const auto& property : element.properties) {
    const auto [name, isFirst] = written.insert(Lowered(property->name));
    const TStep* const hidden = isFirst ? Find(index, className, *name) : nullptr;
    if (hidden != nullptr && hidden->property) {
      element.inheritedDigest -= hidden->property->Digest();
    }
  }
}

}  // namespace svc::catalogue
