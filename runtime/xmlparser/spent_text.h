// The part of a document that was read and is needed no more. Used from one thread at a time.
#ifndef RUNTIME_XMLPARSER_SPENT_TEXT_H_
#define RUNTIME_XMLPARSER_SPENT_TEXT_H_

#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

// Hands the memory of what was read to the namespace, which stores texts in it: fresh pages, which
// the system has to find and to clear, cost more than reading the document that fills them. Borrows
// both.
class TSpentText {
 public:
  TSpentText(TDocumentText& text, TNamespaceWriter& writer) : text(text), writer(writer) {}

  // What stands before `at` is still needed.
  void Keep(char* at) { begin = at; }
  // What was read before `at`, and is not kept, is needed no more.
  void Offer(char* at) {
    if (at - begin >= kPiece && writer.WantsPages()) HandOver(at);
  }

 private:
  // Small enough for what was read last to be in a cache of the processor's own.
  static constexpr std::ptrdiff_t kPiece = 1 << 18;

  void HandOver(char* at);

  TDocumentText& text;
  TNamespaceWriter& writer;
  char* begin = nullptr;
  bool isRefused = false;
};

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_SPENT_TEXT_H_
