// Which characters XML 1.0 allows where. Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_CHARACTERS_H_
#define RUNTIME_XMLPARSER_CHARACTERS_H_
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

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_CHARACTERS_H_
