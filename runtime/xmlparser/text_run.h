// What stands between two tags. Character data: with references replaced, CDATA sections opened,
// comments and processing instructions taken out, and line ends made line feeds (XML 1.0, section
// 2.11). Markup that carries no content: comments, processing instructions, the document type
// declaration. Stateless; may be used from any thread. All throw TDocumentError for what is
// malformed.
#ifndef RUNTIME_XMLPARSER_TEXT_RUN_H_
#define RUNTIME_XMLPARSER_TEXT_RUN_H_

#include <string_view>

#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

// As ScanPlainText, from a byte that FindTextStop stopped at in a text that begins at `begin`.
char* ScanPlainTextFrom(const TDocumentText& text, char* begin, char* stop);

// Checks plain character data from `at` on and returns where it ends: at a '<', '&' or CR, or at
// the end of the document.
inline char* ScanPlainText(const TDocumentText& text, char* at) {
  char* const stop = at + (FindTextStop(at, text.End()) - at);
  if (stop != text.End() && *stop == '<') return stop;
  return ScanPlainTextFrom(text, at, stop);
}

struct TTextRun {
  char* end;   // The run ends here ...
  char* next;  // ... and the document goes on here, at a start or end tag.
};

// Turns character data into plain text, in place: from `plainEnd` on, where the first byte stands
// that is not plain. The caller knows where the run began.
TTextRun DecodeTextRun(TDocumentText& text, char* plainEnd);

// Entity and character references (XML 1.0, section 4.1). Stateless; may be used from any thread.

// Writes what the reference at `at`, an '&', stands for to `to`, moves `to` behind it and returns
// where the text goes on. What a reference stands for is never longer than the reference itself:
// `to` may be any place up to `at`. Throws TDocumentError for anything but a character reference or
// one of the five predefined entities.
const char* ReadReference(const TDocumentText& text, const char* at, char*& to);

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

#endif  // RUNTIME_XMLPARSER_TEXT_RUN_H_
