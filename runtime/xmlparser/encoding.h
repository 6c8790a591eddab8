// From the encodings that a document may come in to UTF-8. Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_ENCODING_H_
#define RUNTIME_XMLPARSER_ENCODING_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace svc::xml {

// A document as UTF-8 without byte order mark: the caller's bytes where they are UTF-8 already,
// otherwise a copy, which it owns. What is no character of the source's encoding has become a byte
// that UTF-8 does not have, so that the reader refuses it where it stands.
struct TUtf8Document {
  std::unique_ptr<char[]> copy;
  char* begin;
  char* end;
};

// Tells the encoding by byte order mark and XML declaration (XML 1.0, appendix F): UTF-8, US-ASCII,
// ISO-8859-1, or UTF-16 with byte order mark. Memory in proportion to the document.
// Throws TDocumentError for any other encoding, or where mark and declaration contradict.
TUtf8Document ToUtf8(char* begin, char* end);

// Whether a document that begins with these bytes certainly is UTF-8 without byte order mark, so
// that it can be read as it is. Pure.
bool IsPlainUtf8(std::string_view head);

// The XML declaration (XML 1.0, production 23). Stateless; may be used from any thread.

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

#endif  // RUNTIME_XMLPARSER_ENCODING_H_
