// The members of the host's parser classes that this library offers besides its entry.
//
// They are inline in the host's declarations, so that each library which needs them holds its own;
// a host that was linked against this library's ones finds them here. Nothing calls the functions
// below: what they use is emitted because of them (built without optimisation, so that it stays).
#include "host/xmlparser/xml_parser.h"

namespace svc::checker {

namespace {

using NQRXHSK20::TCIMXMLParser;
using NQRXHSK20::TXmlParser;

template <typename TParser>
void Copy(TParser& target, const TParser& source) {
  target = TParser(source);
}

}  // namespace

struct TParserMembers {
  void (*copyParser)(TXmlParser&, const TXmlParser&);
  void (*copyCIMParser)(TCIMXMLParser&, const TCIMXMLParser&);
  const unsigned int* maxDocumentSize;
};
extern const TParserMembers kParserMembers;
constexpr TParserMembers kParserMembers = {Copy<TXmlParser>, Copy<TCIMXMLParser>,
                                           &TCIMXMLParser::kMaxSpecificationDocumentSize};

}  // namespace svc::checker
