// A reader's tokens as CIM-XML has them: elements below elements, text only in a few. Used from one
// thread at a time.
#ifndef RUNTIME_XMLPARSER_CIM_TOKENS_H_
#define RUNTIME_XMLPARSER_CIM_TOKENS_H_

#include <string>
#include <string_view>

#include "runtime/xmlparser/cim_elements.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc::xml {

// Every operation throws TDocumentError where the document is not as the operation says.
class TCimTokens {
 public:
  explicit TCimTokens(TXmlReader& reader) : reader(reader) {}

  // Moves to the next child of the open element. False at the element's end tag, which is then
  // read. Text beside the children is refused.
  bool NextChild();
  // Which element began last. REQUIRES: the last token was a start; so for all that follow.
  EElement Element();
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
  // The same for an element that holds nothing but such an element: the attributes and the note are
  // those of the outer one.
  template <typename TTake>
  bool TakeTextBelow(EElement outer, EElement element, TTake take);
  // As a text of its own.
  std::string TextOf();

  [[noreturn]] void RefuseElement() const;
  TXmlReader& Reader() { return reader; }

 private:
  TXmlReader& reader;
};

inline bool TCimTokens::NextChild() {
  const EToken token = reader.NextTag();
  if (token == EToken::kText) reader.Fail("text stands where only elements are allowed");
  return token == EToken::kStart;
}

inline EElement TCimTokens::Element() {
  TTagNote& note = reader.Note();
  if (note.kind == 0) note.kind = static_cast<std::uint32_t>(ElementOfName(reader.Name()));
  return static_cast<EElement>(note.kind);
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
  if (!reader.TakeLeaf(static_cast<std::uint32_t>(element))) return false;
  take(reader.Text());
  return true;
}

template <typename TTake>
bool TCimTokens::TakeTextBelow(EElement outer, EElement element, TTake take) {
  if (!reader.TakeLeafBelow(static_cast<std::uint32_t>(outer), static_cast<std::uint32_t>(element)))
    return false;
  take(reader.Text());
  return true;
}

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_CIM_TOKENS_H_
