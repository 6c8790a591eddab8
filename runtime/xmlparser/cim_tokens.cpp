#include "runtime/xmlparser/cim_tokens.h"

#include "base/cut_name.h"

namespace svc::xml {

std::string_view TCimTokens::Required(std::string_view attributeName) const {
  const std::string_view value = Optional(attributeName);
  if (value.empty())
    reader.Fail("element " + CutName(reader.Name()) + " lacks its attribute " +
                std::string(attributeName));
  return value;
}

std::string_view TCimTokens::Optional(std::string_view attributeName) const {
  return reader.Attribute(attributeName).value_or(std::string_view());
}

void TCimTokens::Skip() {
  for (std::size_t open = 1; open != 0;) {
    const EToken token = reader.Next();
    if (token == EToken::kStart) ++open;
    if (token == EToken::kEnd) --open;
  }
}

void TCimTokens::SkipEmpty() {
  if (NextChild()) RefuseElement();
}

std::string TCimTokens::TextOf() {
  std::string text;
  ReadText([&text](std::string_view read) { text = read; });
  return text;
}

void TCimTokens::RefuseElement() const {
  reader.Fail("element " + CutName(reader.Name()) + " is not expected here");
}

}  // namespace svc::xml
