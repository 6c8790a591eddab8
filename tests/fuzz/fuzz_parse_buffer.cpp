// A document in memory, as the catalogue loader hands it to the parser. The first byte chooses the
// dialect.
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::vector<std::string> properties = {"name", "Version", "applicableMachineTypes"};
  const auto catalogue = NewNamespace();
  DeclareClass(catalogue, "QRXPSG_SystemUpdateElement", properties);
  ParseDocument(catalogue, AsText(data + 1, size - 1), (data[0] & 1) != 0);
  // Also of a refused document: what was read before is whole.
  ReadAll(catalogue, "QRXPSG_SystemUpdateElement", properties);
  return 0;
}
