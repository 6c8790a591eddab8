// A definitions or inventory file.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "tests/fuzz/fuzz_support.h"

using namespace NQRXHSK20;
using namespace svc::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int file = memfd_create("document", 0);
  Require(file >= 0 && write(file, data, size) == static_cast<ssize_t>(size), "a file can be made");
  const auto target = NewNamespace();
  DeclareClass(target, "A", {"P"});
  const std::string path = "/proc/self/fd/" + std::to_string(file);
  bool isFileTaken = true;
  try {
    TNamespacePopulator::PopulateFromXMLFile(target, path);
  } catch (const THSKException& exception) {
    isFileTaken = false;
    Require(exception.GetMessageText().find(path) != std::string::npos, "a refusal names the file");
  }
  close(file);
  const auto again = NewNamespace();
  DeclareClass(again, "A", {"P"});
  const bool isTextTaken = ParseDocument(again, AsText(data, size), false);
  // A file is judged with what follows its root element, a text in memory without.
  Require(isTextTaken || !isFileTaken, "what is taken as a file is taken as a text");
  if (isFileTaken) Require(ReadAll(target, "A", {"P"}) == ReadAll(again, "A", {"P"}), "alike");
  return 0;
}
