// What a parser and its copies share. Used from one thread at a time.
#ifndef RUNTIME_XMLPARSER_XML_PARSER_H_
#define RUNTIME_XMLPARSER_XML_PARSER_H_

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "runtime/xmlparser/cim_builder.h"

namespace svc::xml {
class TDocumentCache;
}

namespace NQRXHSK20 {

struct TXmlParserState {
  boost::shared_ptr<ICIMNamespace> target;
  svc::xml::EDialect dialect = svc::xml::EDialect::kAny;
  std::vector<svc::TClassId> classes;

  // Parses the document in [text, text + size), whose bytes it may change, or the one that they are
  // the ticket for.
  // Throws svc::xml::TDocumentError, or THSKException where the target takes no documents.
  void Parse(char* text, std::size_t size, bool isWholeFile);
  // The same for a document that is there.
  void ParsePlainly(char* text, std::size_t size, bool isWholeFile);
  // Reads a whole file through a window. False, and the target is as it was, where it is to be
  // parsed plainly.
  bool Stream(const std::string& path);
  std::vector<boost::shared_ptr<ICIMClass>> ClassesCollected() const;

 private:
  void ParseAnew(char* text, std::size_t size, bool isWholeFile);
  void ParseOnce(svc::xml::TDocumentCache& cache, char* text, std::size_t size, bool isWholeFile);
};

}  // namespace NQRXHSK20

#endif  // RUNTIME_XMLPARSER_XML_PARSER_H_
