// Which characters XML 1.0 allows where, and how bytes of other encodings become UTF-8. Stateless;
// may be used from any thread.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

namespace svc::xml {

// Whether a document may hold the character (XML 1.0, production 2).
constexpr bool IsXmlCharacter(char32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c < 0xD800 || (c > 0xDFFF && c < 0xFFFE) || (c > 0xFFFF && c < 0x110000);
}

// Reads one character of [at, end) and returns where the next begins, or null where there is no
// valid UTF-8 character that a document may hold. REQUIRES: at != end.
const char* DecodeUtf8(const char* at, const char* end, char32_t& character);

// Behind the longest run of valid characters above 0x7F: `at` itself when there is none.
const char* SkipUtf8(const char* at, const char* end);

// Writes a character as UTF-8 and returns the end; at most four bytes.
char* EncodeUtf8(char32_t character, char* to);

// Behind the name that starts at `at`, or `at` itself when none does. Names are those of XML 1.0
// up to the fourth edition (appendix B), which every parser in use takes.
const char* SkipName(const char* at, const char* end);

// Characters above 0x7F in names. Stateless; may be used from any thread.

// Letters and ideographs, which may start a name (XML 1.0 fourth edition, appendix B).
bool IsNameStart(char32_t character);
// Combining characters, digits and extenders, which may stand in a name but not start it.
bool IsNameExtra(char32_t character);

// From the encodings that a document may come in to UTF-8. Stateless; may be used from any thread.

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
