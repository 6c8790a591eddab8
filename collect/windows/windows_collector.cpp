// The entry of svcheck-collect.dll, and the collector behind it.
#include <filesystem>

#include "base/error.h"
#include "collect/cim_xml.h"
#include "collect/collector.h"
#include "collect/windows/windows_machine.h"

namespace svc::collect {
namespace {

class TWindowsCollector : public ICollector {
 public:
  Outcome Collect(const Options& options) const override {
    // "/", or "C:\", is the running system.
    if (std::filesystem::path(options.root).has_relative_path()) {
      throw TError("cannot read the system tree " + options.root +
                   ": on Windows only the running system is read; run svcheck on Linux "
                   "for a captured tree");
    }
    TInventory inventory = ReadWindowsMachine(*ThisWindowsMachine(), options.redact);
    MergeDevices(options.devices, inventory);
    return {ToCimXml(inventory.Instances()), inventory.Notes()};
  }

  std::vector<SourceState> TrySources() const override {
    return TryWindowsSources(*ThisWindowsMachine());
  }

  std::vector<std::string> Capture(const Options&, const TWrite&) const override {
    throw TError(
        "cannot write a capture: a Windows machine's inventory is not made of "
        "files; give its inventory instead, with --output FILE");
  }
};

}  // namespace
}  // namespace svc::collect

extern "C" __declspec(dllexport) const svc::collect::ICollector* SvcheckCollector() {
  static const svc::collect::TWindowsCollector collector;
  return &collector;
}
