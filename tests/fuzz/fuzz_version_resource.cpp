// Windows drivers, of which the version resource is read.
#include <algorithm>

#include "svcheck/author/driver_source.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(AsText(data, size));  // On its own, so that reading outside it is seen.
  const auto version = svc::catalogue::FileVersionOf(bytes);
  if (!version || version->empty()) return 0;
  Require(std::count(version->begin(), version->end(), '.') == 3, "a version is four numbers");
  Require(version->find_first_not_of("0123456789.") == std::string::npos, "they are decimal");
  return 0;
}
