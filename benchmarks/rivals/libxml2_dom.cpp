// libxml2's document tree.
#include <libxml/parser.h>

#include "whole_file.h"

int main(int, char** arguments) {
  const TWholeFile file = ReadWholeFile(arguments[1]);
  xmlDocPtr document = xmlReadMemory(file.bytes, static_cast<int>(file.size), arguments[1], nullptr,
                                     XML_PARSE_HUGE | XML_PARSE_NONET);
  const bool isGood = document != nullptr;
  xmlFreeDoc(document);
  std::free(file.bytes);
  return isGood ? 0 : 1;
}
