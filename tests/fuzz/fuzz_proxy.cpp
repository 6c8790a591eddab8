// "svProxy" texts.
#include "plugins/version_checker/catalogue/live_acquisition.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::checker;
using namespace svc::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(AsText(data, size));
  if (const auto proxy = ParseProxy(text)) {
    Require(proxy->enabled, "a proxy that is read is used");
    for (const std::string* part : {&proxy->host, &proxy->user, &proxy->password}) {
      Require(text.find(*part) != std::string::npos, "a part stands in the text");
    }
  }
  return 0;
}
