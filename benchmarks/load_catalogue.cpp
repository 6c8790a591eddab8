// Reading a catalogue file into a namespace and nothing more, through the host's libraries alone:
// what a query spends before it looks at an element.
//
//   load_catalogue DEFINITIONS CATALOGUE [THREADS]
#include <cstdio>
#include <cstdlib>

#include "host/hskcore/exception.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/prepared_documents.h"

int main(int count, char** arguments) {
  if (count != 3 && count != 4) return 64;
  try {
    const int threads = count == 4 ? std::atoi(arguments[3]) : 1;
    const svc::TPreparedDocuments none([](const std::string&) { return false; },
                                       static_cast<unsigned>(threads));
    const auto objects = svc::MakeInMemoryNamespace();
    NQRXHSK20::TNamespacePopulator::PopulateFromXMLFile(objects, arguments[1]);
    // The way that a prepared document goes, too.
    NQRXHSK20::TNamespacePopulator::PopulateFromXMLFile(objects, arguments[2]);
    return 0;
  } catch (const NQRXHSK20::THSKException& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
