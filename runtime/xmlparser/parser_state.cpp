#include "runtime/xmlparser/parser_state.h"

#include <algorithm>

#include "host/xmlparser/xml_parser.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/xml_reader.h"

namespace NQRXHSK20 {

using svc::xml::TDocumentText;

namespace {

constexpr std::size_t kMaxSize = TCIMXMLParser::kMaxSpecificationDocumentSize;

}  // namespace

// A block may be larger than the document in it, so that a document is known to be too large only
// when it does not end within the limit.
void TXmlParserState::Parse(char* text, std::size_t size, bool isWholeFile) {
  classes.clear();
  const bool isCut = size > kMaxSize;
  const svc::xml::TUtf8Document document = svc::xml::ToUtf8(text, text + std::min(size, kMaxSize));
  TDocumentText documentText(document.begin, document.end, isCut);
  if (isWholeFile && isCut) documentText.FailAtEnd();
  svc::xml::TXmlReader reader(documentText);
  svc::TNamespaceWriter writer(target);
  svc::xml::TCimBuilder builder(reader, writer);
  builder.Build(dialect);
  if (isWholeFile) reader.CheckEpilogue();
  classes = builder.Classes();
}

std::vector<boost::shared_ptr<ICIMClass>> TXmlParserState::ClassesCollected() const {
  std::vector<boost::shared_ptr<ICIMClass>> handles;
  if (classes.empty()) return handles;
  const svc::TNamespaceWriter writer(target);
  for (const svc::TClassId id : classes) handles.push_back(writer.ClassHandle(id));
  return handles;
}

}  // namespace NQRXHSK20
