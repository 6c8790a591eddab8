// A captured tree's kernel modules: the list of those loaded, the list of their files, and one
// file. A line "====" parts them.
#include <algorithm>
#include <filesystem>

#include "collect/cim_xml.h"
#include "collect/linux/linux_collector.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::collect;
using namespace svc::fuzz;
namespace fs = std::filesystem;

namespace {

class TMachineTree : public TScratchFolder {
 public:
  TMachineTree() {
    for (const char* folder : {"proc/sys/kernel", "sys/module", "lib/modules/6.1"})
      fs::create_directories(Root() / folder);
    Write("proc/sys/kernel/osrelease", "6.1\n");
  }
};

std::string_view CutPart(std::string_view& text) {
  constexpr std::string_view kBetween = "\n====\n";
  const std::size_t end = std::min(text.find(kBetween), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + kBetween.size(), text.size()));
  return part;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TMachineTree made;
  std::string_view text = AsText(data, size);
  made.Write("proc/modules", CutPart(text));
  made.Write("lib/modules/6.1/modules.dep", CutPart(text));
  made.Write("lib/modules/6.1/e1000e.ko", text);

  const TTree tree(made.Root().string());
  TInventory inventory;
  ReadDrivers({tree, {}, false}, inventory);
  const auto machine = NewNamespace();
  DeclareClass(machine, "QRXSG_DeviceDriverInfo", {"Name", "Path", "Version", "CurrentState"});
  Require(ParseDocument(machine, ToCimXml(inventory.Instances()), false),
          "what is collected is an inventory");
  return 0;
}
