// The XML declaration (XML 1.0, production 23). Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_DECLARATION_H_
#define RUNTIME_XMLPARSER_DECLARATION_H_

#include <optional>
#include <string_view>

namespace svc::xml {

// One NAME="value" of an XML declaration or of a processing instruction written like one.
struct TPseudoAttribute {
  std::string_view name;
  std::string_view value;
};

// Cuts the first pseudo attribute, with the white space before it, off the front of `text`.
// Nothing when `text` begins with none; what is left is then not changed.
std::optional<TPseudoAttribute> CutPseudoAttribute(std::string_view& text);

// Whether a document begins with an XML declaration, well-formed or not.
bool BeginsWithDeclaration(std::string_view document);

// What an XML declaration says of the encoding; empty when it says nothing.
struct TDeclaration {
  std::string_view encoding;
};

// Reads what stands between "<?xml" and "?>". Nothing when it is malformed.
std::optional<TDeclaration> ReadDeclaration(std::string_view contents);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_DECLARATION_H_
