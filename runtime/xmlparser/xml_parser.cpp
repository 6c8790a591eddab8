#include "host/xmlparser/xml_parser.h"

#include <boost/make_shared.hpp>
#include <string>

#include "host/hskcore/exception.h"
#include "runtime/xmlparser/block_size.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/parser_state.h"

namespace NQRXHSK20 {

void TXmlParser::Parse(char* text) {
  if (!text) throw THSKException("there is no document to parse", THSKStatusCode::kFailed);
  try {
    state->Parse(text, svc::xml::BlockSize(text), false);
  } catch (const svc::xml::TDocumentError& error) {
    throw THSKException("line " + std::to_string(error.line) + ": " + error.what(), error.status);
  }
}

TCIMXMLParser::TCIMXMLParser(boost::shared_ptr<ICIMNamespace> target)
    : TXmlParser(boost::make_shared<TXmlParserState>()) {
  state->target = std::move(target);
}

void TCIMXMLParser::SetSV402Mode() { state->dialect = svc::xml::EDialect::kCatalogue402; }

std::vector<boost::shared_ptr<ICIMClass>> TCIMXMLParser::GetClassesCollected() const {
  return state->ClassesCollected();
}

}  // namespace NQRXHSK20
