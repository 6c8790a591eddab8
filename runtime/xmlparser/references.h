// Entity and character references (XML 1.0, section 4.1). Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_REFERENCES_H_
#define RUNTIME_XMLPARSER_REFERENCES_H_

#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

// Writes what the reference at `at`, an '&', stands for to `to`, moves `to` behind it and returns
// where the text goes on. What a reference stands for is never longer than the reference itself:
// `to` may be any place up to `at`. Throws TDocumentError for anything but a character reference or
// one of the five predefined entities.
const char* ReadReference(const TDocumentText& text, const char* at, char*& to);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_REFERENCES_H_
