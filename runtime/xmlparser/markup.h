// Markup that carries no content: comments, processing instructions, the document type declaration.
// Stateless; may be used from any thread. All throw TDocumentError when the markup is malformed.
#ifndef RUNTIME_XMLPARSER_MARKUP_H_
#define RUNTIME_XMLPARSER_MARKUP_H_

#include <string_view>

#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

// Whether the text goes on with `word` at `at`.
bool GoesOnWith(const TDocumentText& text, const char* at, std::string_view word);
// Whether the text ends within `word`, which begins at `at`.
bool EndsWithin(const TDocumentText& text, const char* at, std::string_view word);

// REQUIRES: the text goes on with "<!--". Returns where the comment ends.
const char* SkipComment(const TDocumentText& text, const char* at);

struct TInstruction {
  std::string_view target;
  std::string_view contents;  // What follows the target, with the white space before it.
  const char* end;
};
// REQUIRES: the text goes on with "<?".
TInstruction ReadInstruction(const TDocumentText& text, const char* at);

// REQUIRES: the text goes on with "<!DOCTYPE". Returns where the declaration ends. One with an
// internal subset is refused, and nothing external is fetched.
const char* SkipDocumentType(const TDocumentText& text, const char* at);

// Behind the byte that FindTextStop stopped at, and behind all characters above 0x7F that follow.
// Throws when no document may hold it. REQUIRES: at != end.
const char* SkipStop(const TDocumentText& text, const char* at, const char* end);

// Checks that [at, end) is made of characters that a document may hold.
void CheckCharacters(const TDocumentText& text, const char* at, const char* end);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_MARKUP_H_
