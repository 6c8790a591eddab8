// The elements of CIM-XML (DMTF DSP0201, section 5) and what may stand below what in the documents
// that are read here. Stateless; may be used from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/hskcore/value.h"
#include "runtime/xmlparser/member_plan.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc::xml {

enum class EElement : std::uint8_t {
  kNone,  // Not looked up yet.
  kUnknown,
  kCim,
  kClass,
  kClassName,
  kClassPath,
  kDeclaration,
  kDeclGroup,
  kDeclGroupWithName,
  kDeclGroupWithPath,
  kError,
  kHost,
  kIMethodResponse,
  kInstance,
  kInstanceName,
  kInstancePath,
  kIReturnValue,
  kKeyBinding,
  kKeyValue,
  kLocalClassPath,
  kLocalInstancePath,
  kLocalNamespacePath,
  kMessage,
  kMethod,
  kNamespace,
  kNamespacePath,
  kParamValue,
  kProperty,
  kPropertyArray,
  kPropertyReference,
  kQualifier,
  kQualifierDeclaration,
  kSimpleRsp,
  kValue,
  kValueArray,
  kValueInstanceWithPath,
  kValueNamedInstance,
  kValueNamedObject,
  kValueNull,
  kValueObject,
  kValueObjectWithPath,
  kValueReference,
};

// kUnknown for a name that is none of the above.
EElement ElementOfName(std::string_view name);

enum class ETreatment : std::uint8_t {
  kRefuse,
  kEnter,  // A container: its children are looked at.
  kHold,   // A container of exactly one class or instance.
  kSkip,   // Carries nothing that is kept.
  kClass,
  kInstance,
  kError,  // The answer of a server that could not do what it was asked for.
};

// What is done with `child` where it stands directly below `parent`, one of the containers.
ETreatment TreatmentBelow(EElement parent, EElement child);

// What is found out once about all tags of the same bytes.
struct TTagNote {
  EElement element = EElement::kNone;
  // Of a property, as long as `isProperty`: which attribute is its name, and what the others say.
  bool isProperty = false;
  NQRXHSK20::ECIMType type{};
  std::uint32_t nameAttribute = 0;
  std::uint32_t nameNumber = 0;  // In the namespace that is written to.
};

// A reader's tokens as CIM-XML has them: elements below elements, text only in a few. Used from one
// thread at a time. Every operation throws TDocumentError where the document is not as the
// operation says.
class TCimTokens {
 public:
  explicit TCimTokens(TXmlReader& reader) : reader(reader) {}

  // Moves to the next child of the open element. False at the element's end tag, which is then
  // read. Text beside the children is refused.
  bool NextChild();
  // Which element began last. REQUIRES: the last token was a start; so for all that follow.
  EElement Element() { return Note().element; }
  // Of the last tag. Valid until the next token.
  TTagNote& Note();
  // An attribute that the element must have, and that must not be empty.
  std::string_view Required(std::string_view attributeName) const;
  std::string_view Optional(std::string_view attributeName) const;
  // Passes over the element with all that it holds.
  void Skip();
  // Passes over the element, which must be empty.
  void SkipEmpty();
  // Reads the element's text and hands it to `take`, then passes over its end tag. The text is
  // the last token while `take` runs.
  template <typename TTake>
  void ReadText(TTake take);
  // Does all of that for the next element when it is of this kind and easy to read: it stood here
  // before and holds nothing but plain text. False, and nothing is read, when it is not.
  template <typename TTake>
  bool TakeText(EElement element, TTake take);
  // As a text of its own.
  std::string TextOf();

  [[noreturn]] void RefuseElement() const;
  TXmlReader& Reader() { return reader; }

 private:
  bool Is(std::uint32_t tag, EElement element) const {
    const TTagNote* const note = notes.Find(tag);
    return note && note->element == element;
  }

  TXmlReader& reader;
  TTagNotes<TTagNote> notes;
};

inline bool TCimTokens::NextChild() {
  const EToken token = reader.NextTag();
  if (token == EToken::kText) reader.Fail("text stands where only elements are allowed");
  return token == EToken::kStart;
}

inline TTagNote& TCimTokens::Note() {
  TTagNote& note = notes[reader.Tag()];
  if (note.element == EElement::kNone) note.element = ElementOfName(reader.Name());
  return note;
}

template <typename TTake>
void TCimTokens::ReadText(TTake take) {
  EToken token = reader.Next();
  if (token == EToken::kText) {
    take(reader.Text());
    token = reader.Next();
  } else if (token == EToken::kEnd) {
    take(std::string_view());
  }
  if (token != EToken::kEnd) RefuseElement();
}

template <typename TTake>
bool TCimTokens::TakeText(EElement element, TTake take) {
  if (!reader.TakeLeaf([&](std::uint32_t tag) { return Is(tag, element); })) return false;
  take(reader.Text());
  return true;
}

// Reads the contents of a VALUE.REFERENCE, its end tag included, and returns the path that they
// say in the untyped form of DMTF DSP0207: [//HOST/][NAMESPACE:]CLASS[.KEY="VALUE",KEY=12,...]. A
// quoted value has '"' and '\' escaped with a '\'.
// REQUIRES: the last token was the start of a VALUE.REFERENCE.
std::string ReadReferenceValue(TCimTokens& tokens);

// The dialect of a catalogue, from the processing instruction before its root element. Stateless;
// may be used from any thread.

inline constexpr std::string_view kDialectTarget = "sv-catalogue";

// The version that the instruction's contents name; empty when they name none.
std::string_view DialectVersion(std::string_view contents);

// Whether a version "MAJOR.MINOR" is 4.02 or later: compared as two integers, major first. False
// for a text that is no version.
bool IsDialect402(std::string_view version);

}  // namespace svc::xml
