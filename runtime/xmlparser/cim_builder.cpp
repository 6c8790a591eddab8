#include "runtime/xmlparser/cim_builder.h"

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/cell.h"

namespace svc::xml {

using NQRXHSK20::ECIMType;
using NQRXHSK20::THSKStatusCode;

void TCimBuilder::Build(EDialect dialect, bool isWholeFile) {
  try {
    writer.BeginDocument();
    std::optional<std::string_view> version;
    InWindow([&] {
      version = ReadPrologue();
      return true;
    });
    if (tokens.Element() != EElement::kCim)
      tokens.Reader().Fail("the root element is " + CutName(tokens.Reader().Name()) + ", not CIM");
    if (dialect == EDialect::kCatalogue402) CheckDialect(version);
    ReadContainer(EElement::kCim);
    ReadEpilogue(isWholeFile);
  } catch (const NQRXHSK20::THSKException& refusal) {
    // The namespace knows what is wrong, the reader where.
    tokens.Reader().Fail(refusal.GetMessageText(), refusal.GetStatusCode());
  }
}

void TCimBuilder::BuildFrom(const TOutset& where, bool isWholeFile) {
  outset = where;
  containers = where.containers;
  tokens.Reader().BeginWithin(where.names);
  for (; !containers.empty() && !isReadByOthers; containers.pop_back()) {
    ReadChildren(containers.back());
  }
  ReadEpilogue(isWholeFile);
}

void TCimBuilder::ReadEpilogue(bool isWholeFile) {
  if (!isWholeFile || isReadByOthers) return;
  InWindow([&] {
    tokens.Reader().CheckEpilogue();
    return true;
  });
}

// Up to the start tag of the root element. What the first instruction that is for the dialect says;
// nothing without one.
std::optional<std::string_view> TCimBuilder::ReadPrologue() {
  TXmlReader& reader = tokens.Reader();
  std::optional<std::string_view> version;
  while (reader.Next() != EToken::kStart) {
    if (!version && reader.Name() == kDialectTarget) version = DialectVersion(reader.Text());
  }
  return version;
}

void TCimBuilder::CheckDialect(std::optional<std::string_view> version) {
  if (version && IsDialect402(*version)) return;
  tokens.Reader().Fail(
      version ? "the catalogue's version is below 4.02 or unreadable"
              : "the catalogue does not say before its root element that its version is 4.02",
      THSKStatusCode::kUnsupportedDialect);
}

void TCimBuilder::ReadContainer(EElement container) {
  containers.push_back(container);
  ReadChildren(container);
  containers.pop_back();
}

void TCimBuilder::ReadChildren(EElement container) {
  const auto readChild = [&] {
    if (!tokens.NextChild()) return false;
    ReadChild(container);
    return true;
  };
  while (!isReadByOthers && !MeetsLaterParts() && InWindow(readChild)) {
  }
}

// True where all that is left of the document is read.
bool TCimBuilder::MeetsLaterParts() {
  if (later == nullptr || instanceClass == kNoClass) return false;
  TXmlReader& reader = tokens.Reader();
  TDocumentText& document = reader.Document();
  if (outset.containers.empty()) {
    outset = {containers, reader.OpenNames(), std::string(reader.Name()), reader.Offset()};
    later->Begin(outset);
    document.LookAtEnd();
  }
  const bool isThere =
      document.Window()->EndsAtLimit(reader.Here()) && containers == outset.containers;
  if (!isThere) return false;
  isReadByOthers = later->Take();
  document.LookAtEnd();
  return isReadByOthers;
}

void TCimBuilder::ReadChild(EElement container) {
  const EElement child = tokens.Element();
  switch (TreatmentBelow(container, child)) {
    case ETreatment::kEnter:
      return ReadContainer(child);
    case ETreatment::kHold:
      return ReadHolder(child);
    case ETreatment::kSkip:
      return tokens.Skip();
    case ETreatment::kClass:
      return ReadClass();
    case ETreatment::kInstance:
      return ReadInstance();
    case ETreatment::kError:
      FailWithError();
    case ETreatment::kRefuse:
      tokens.RefuseElement();
  }
}

void TCimBuilder::ReadHolder(EElement holder) {
  bool hasObject = false;
  const auto readChild = [&] {
    if (!tokens.NextChild()) return false;
    const bool isPath = TreatmentBelow(holder, tokens.Element()) == ETreatment::kSkip;
    if (!isPath && hasObject) tokens.RefuseElement();
    ReadChild(holder);
    hasObject = hasObject || !isPath;
    return true;
  };
  while (InWindow(readChild)) {
  }
  if (!hasObject)
    tokens.Reader().Fail(CutName(tokens.Reader().Name()) + " holds no class and no instance");
}

void TCimBuilder::FailWithError() {
  std::string cause = "the document is a server's error, code " + CutName(tokens.Required("CODE"));
  const std::string_view description = tokens.Optional("DESCRIPTION");
  if (!description.empty()) cause += ": " + CutName(description);
  tokens.Reader().Fail(std::move(cause));
}

void TCimBuilder::ReadClass() {
  Collect(writer.BeginClass(tokens.Required("NAME"), tokens.Optional("SUPERCLASS")));
  while (ReadMember(true)) {
  }
  writer.Finish();
}

// Of a tag that was met before the note says which attribute is the name and what the type is.
inline TCimBuilder::TProperty TCimBuilder::PropertyOfTag() {
  TTagNote& note = tokens.Note();
  if (!note.isProperty) NoteProperty(note);
  return {{tokens.Reader().AttributeValue(note.nameAttribute), note.nameNumber}, note.type};
}

// False at the end of the class or instance.
bool TCimBuilder::ReadMember(bool isClass) {
  if (!tokens.NextChild()) return false;
  switch (tokens.Element()) {
    case EElement::kProperty:
      ReadProperty();
      break;
    case EElement::kPropertyArray:
      ReadPropertyArray();
      break;
    case EElement::kPropertyReference:
      ReadPropertyReference();
      break;
    case EElement::kMethod:
      if (!isClass) tokens.RefuseElement();
      [[fallthrough]];
    case EElement::kQualifier:
      tokens.Skip();
      break;
    default:
      tokens.RefuseElement();
  }
  return true;
}

void TCimBuilder::ReadProperty() {
  const TProperty property = PropertyOfTag();
  NoteMember(property, false);
  const auto write = [&](std::string_view text) {
    writer.WriteValue(property.name, property.type, text);
  };
  bool hasValue = tokens.TakeText(EElement::kValue, write);
  while (NextValue(property, hasValue)) {
    hasValue = true;
    if (tokens.Element() == EElement::kValue) {
      tokens.ReadText(write);
    } else {
      ReadNull(property, false);
    }
  }
  if (!hasValue) writer.WriteNull(property.name, property.type, false);
}

void TCimBuilder::ReadPropertyArray() {
  const TProperty property = PropertyOfTag();
  NoteMember(property, true);
  bool hasValue = false;
  while (NextValue(property, hasValue)) {
    hasValue = true;
    if (tokens.Element() == EElement::kValueArray) {
      ReadElements(property);
    } else {
      ReadNull(property, true);
    }
  }
  if (!hasValue) writer.WriteNull(property.name, property.type, true);
}

void TCimBuilder::ReadElements(const TProperty& property) {
  writer.BeginArray(property.name, property.type);
  while (ReadElement()) {
  }
  writer.EndArray();
}

// False at the end of the array.
bool TCimBuilder::ReadElement() {
  const auto add = [&](std::string_view text) { writer.AddElement(text); };
  if (tokens.TakeText(EElement::kValue, add)) return true;
  if (!tokens.NextChild()) return false;
  if (tokens.Element() == EElement::kValue) {
    tokens.ReadText(add);
  } else if (tokens.Element() == EElement::kValueNull) {
    tokens.SkipEmpty();
    writer.AddNullElement();
  } else {
    tokens.RefuseElement();
  }
  return true;
}

void TCimBuilder::ReadPropertyReference() {
  const TProperty property{writer.NameOf(tokens.Required("NAME")), ECIMType::kReference};
  bool hasValue = false;
  while (NextValue(property, hasValue)) {
    hasValue = true;
    if (tokens.Element() == EElement::kValueReference) {
      writer.WriteValue(property.name, property.type, ReadReferenceValue(tokens));
    } else {
      ReadNull(property, false);
    }
  }
  if (!hasValue) writer.WriteNull(property.name, property.type, false);
}

// Moves to the next child of the open property that is to be its value; false at its end.
// Qualifiers say nothing that is kept: they are passed over wherever they stand, although DSP0201
// puts them before the value.
bool TCimBuilder::NextValue(const TProperty& property, bool hasValue) {
  while (tokens.NextChild()) {
    if (tokens.Element() == EElement::kQualifier) {
      tokens.Skip();
      continue;
    }
    if (hasValue)
      tokens.Reader().Fail("property \"" + CutName(property.name.text) + "\" has a second value");
    return true;
  }
  return false;
}

// What stands where a property has its value, and is none: a null, or else it is refused.
void TCimBuilder::ReadNull(const TProperty& property, bool isArray) {
  if (tokens.Element() != EElement::kValueNull) tokens.RefuseElement();
  tokens.SkipEmpty();
  writer.WriteNull(property.name, property.type, isArray);
}

void TCimBuilder::NoteProperty(TTagNote& note) {
  TXmlReader& reader = tokens.Reader();
  const std::string_view name = tokens.Required("NAME");
  const auto written = reader.Attribute("TYPE");
  const auto type = written ? CimTypeOfName(*written) : ECIMType::kString;
  if (!type || type == ECIMType::kReference)
    reader.Fail("unknown TYPE \"" + CutName(*written) + "\"");
  note.nameAttribute = static_cast<std::uint32_t>(reader.AttributeNumber("NAME"));
  note.nameNumber = writer.NameOf(name).number;
  note.type = *type;
  note.isProperty = true;
}

void TCimBuilder::NoteMember(const TProperty& property, bool isArray) {
  newMember = {{}, tokens.Reader().OpenTag(), isArray, property.name.number, property.type};
}

void TCimBuilder::Collect(TClassId id) {
  if (isCollected.size() <= id) isCollected.resize(id + std::size_t{1});
  if (isCollected[id]) return;
  isCollected[id] = true;
  classes.push_back(id);
}

}  // namespace svc::xml
