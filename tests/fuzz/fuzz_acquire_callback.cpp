// Messages of the acquisition library: each line is a kind's character, a code's and the text.
#include <algorithm>

#include "plugins/version_checker/catalogue/live_acquisition.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::checker;
using namespace svc::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OITAcquireCallback callback;
  std::string_view text = AsText(data, size);
  while (text.size() >= 2) {
    const std::size_t end = std::min(text.find('\n', 2), text.size());
    callback.onStatus(text[0] - 'a', std::string(text.substr(2, end - 2)), text[1] - '0');
    Require(callback.GetStartedItems() >= 0, "items are counted upwards");
    Require(callback.GetLastCode() != 3, "an interim code is not kept");
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return 0;
}
