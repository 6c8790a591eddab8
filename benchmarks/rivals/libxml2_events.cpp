// libxml2's SAX2 interface with empty handlers.
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include "whole_file.h"

int main(int, char** arguments) {
  const TWholeFile file = ReadWholeFile(arguments[1]);
  xmlSAXHandler handler{};
  handler.initialized = XML_SAX2_MAGIC;
  handler.startElementNs = [](void*, const xmlChar*, const xmlChar*, const xmlChar*, int,
                              const xmlChar**, int, int, const xmlChar**) {};
  handler.endElementNs = [](void*, const xmlChar*, const xmlChar*, const xmlChar*) {};
  handler.characters = [](void*, const xmlChar*, int) {};
  xmlParserCtxtPtr parser = xmlCreateMemoryParserCtxt(file.bytes, static_cast<int>(file.size));
  xmlCtxtUseOptions(parser, XML_PARSE_HUGE | XML_PARSE_NONET);
  *parser->sax = handler;
  xmlParseDocument(parser);
  const bool isGood = parser->wellFormed;
  xmlFreeParserCtxt(parser);
  std::free(file.bytes);
  return isGood ? 0 : 1;
}
