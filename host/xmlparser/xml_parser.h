// From CIM-XML (DMTF DSP0201) to classes and instances.
#ifndef HOST_XMLPARSER_XML_PARSER_H_
#define HOST_XMLPARSER_XML_PARSER_H_

#include <boost/shared_ptr.hpp>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace NQRXHSK20 {

struct TXmlParserState;

// Parses a document in memory. A copy shares the state of its source. Used from one thread at a
// time.
class HOST_INTERFACE TXmlParser {
 public:
  HOST_INTERFACE TXmlParser(const TXmlParser&) = default;
  HOST_INTERFACE TXmlParser& operator=(const TXmlParser&) = default;
  virtual ~TXmlParser() = default;

  // Reads the document that starts at `text`, the start of a block of the C runtime's allocator
  // (malloc, calloc, realloc). It ends with the root element or with the block, whichever comes
  // first; nothing behind the block is read. The caller keeps the block, whose contents this call
  // may change.
  // Throws THSKException: kUnsupportedDialect, kClassNotFound, or kFailed with position and cause.
  XMLPARSER_API void Parse(char* text);

 protected:
  explicit TXmlParser(boost::shared_ptr<TXmlParserState> state) : state(state) {}
  boost::shared_ptr<TXmlParserState> state;
};

// Creates the document's classes and instances in a namespace.
class HOST_INTERFACE TCIMXMLParser : public TXmlParser {
 public:
  // The largest document in bytes that is taken.
  static constexpr unsigned int kMaxSpecificationDocumentSize = 524288000;

  XMLPARSER_API explicit TCIMXMLParser(boost::shared_ptr<ICIMNamespace> target);
  HOST_INTERFACE TCIMXMLParser(const TCIMXMLParser&) = default;
  HOST_INTERFACE TCIMXMLParser& operator=(const TCIMXMLParser&) = default;

  // Asks for the catalogue dialect 4.02 or later: an older document is refused with
  // kUnsupportedDialect.
  XMLPARSER_API void SetSV402Mode();
  // The classes that the last parse declared, in order.
  XMLPARSER_API std::vector<boost::shared_ptr<ICIMClass>> GetClassesCollected() const;
};

}  // namespace NQRXHSK20

#endif  // HOST_XMLPARSER_XML_PARSER_H_
