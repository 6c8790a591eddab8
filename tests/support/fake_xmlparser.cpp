// The parser's library, replaced at link time: a document is a text that the current host knows.
#include <malloc.h>

#include <boost/make_shared.hpp>
#include <boost/pointer_cast.hpp>
#include <cstring>

#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "tests/support/fake_host.h"

using svc::test::TFakeHost;
using svc::test::TFakeNamespace;

namespace NQRXHSK20 {

struct TXmlParserState {
  boost::shared_ptr<TFakeNamespace> target;
};

TCIMXMLParser::TCIMXMLParser(boost::shared_ptr<ICIMNamespace> target)
    : TXmlParser(boost::make_shared<TXmlParserState>(
          TXmlParserState{boost::static_pointer_cast<TFakeNamespace>(target)})) {
  TFakeHost::Current().script.Enter("TCIMXMLParser");
}

void TCIMXMLParser::SetSV402Mode() { TFakeHost::Current().script.Enter("SetSV402Mode"); }

// The text ends at a zero byte or with its block.
void TXmlParser::Parse(char* text) {
  TFakeHost& host = TFakeHost::Current();
  host.documentBlock = malloc_usable_size(text);
  const std::string document(text, strnlen(text, host.documentBlock));
  host.script.Enter("Parse " + document);
  const auto entry = host.documents.find(document);
  if (entry == host.documents.end()) {
    throw THSKException("unknown document", THSKStatusCode::kFailed);
  }
  entry->second(*state->target);
}

std::vector<boost::shared_ptr<ICIMClass>> TCIMXMLParser::GetClassesCollected() const {
  TFakeHost::Current().script.Enter("GetClassesCollected");
  return std::vector<boost::shared_ptr<ICIMClass>>(2);
}

std::vector<boost::shared_ptr<ICIMClass>> TNamespacePopulator::PopulateFromXMLFile(
    boost::shared_ptr<ICIMNamespace> target, const std::string& path) {
  TFakeHost& host = TFakeHost::Current();
  host.script.Enter("PopulateFromXMLFile " + path);
  host.definitions(*boost::static_pointer_cast<TFakeNamespace>(target));
  return {};
}

}  // namespace NQRXHSK20
