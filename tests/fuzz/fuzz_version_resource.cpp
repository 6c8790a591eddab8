// Windows drivers, of which the version resource is read, and the texts beside drivers.
#include <algorithm>
#include <stdexcept>

#include "report/text.h"
#include "svcheck/author/update.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;

namespace {

void CheckStated(const std::vector<svc::catalogue::TStatedDriver>& drivers, const char* ending) {
  for (const auto& driver : drivers) {
    Require(driver.file.size() > 3 && !driver.version.empty(), "a driver has a name and a version");
    std::string last = driver.file.substr(driver.file.rfind('.'));
    std::transform(last.begin(), last.end(), last.begin(), svc::report::ToLower);
    Require(last == ending, "it is a driver by its name");
    Require((driver.file + driver.version).find('\n') == std::string::npos, "each is one line");
  }
}

void CheckTexts(const std::string& bytes) {
  CheckStated(svc::catalogue::DriversOfInf(bytes), ".sys");
  try {
    CheckStated(svc::catalogue::DriversOfDkms(bytes), ".ko");
  } catch (const std::runtime_error& error) {
    Require(*error.what() != '\0', "a refusal has a cause");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(AsText(data, size));  // On its own, so that reading outside it is seen.
  CheckTexts(bytes);
  const auto version = svc::catalogue::FileVersionOf(bytes);
  if (!version || version->empty()) return 0;
  Require(std::count(version->begin(), version->end(), '.') == 3, "a version is four numbers");
  Require(version->find_first_not_of("0123456789.") == std::string::npos, "they are decimal");
  return 0;
}
