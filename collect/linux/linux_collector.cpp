#include "collect/linux/linux_collector.h"

#include <cerrno>
#include <cstring>

#include "collect/cim_xml.h"
#include "collect/linux/capture.h"
#include "collect/linux/machine.h"

namespace svc::collect {
namespace {

// In the order of the document.
constexpr void (*kSources[])(const TMachine&, TInventory&) = {
    ReadComputerSystem,
    ReadOperatingSystem,
    ReadSystemBios,
    ReadDiagnostics,
    ReadManagementControllers,
    ReadBroadcom,
    ReadMegaRaid,
    ReadMpt,
    ReadDrivers,
};

// Where there is no table at all, nothing is missing that the machine could have told.
TSmbiosTable ReadSmbios(const TTree& tree, TInventory& inventory) {
  const TRead file = tree.Read(kSmbiosTable);
  TSmbiosTable table = ParseSmbiosTable(file.bytes);
  if (file.error != 0 && file.error != ENOENT) table.problem = WhyNot(file.error);
  if (!table.problem.empty()) {
    inventory.Note(std::string(kSmbiosTable) + ": " + table.problem +
                   "; what only the SMBIOS tables tell is left out");
  }
  return table;
}

TInventory ReadAll(const TTree& tree, const Options& options) {
  TInventory inventory;
  const TMachine machine{tree, ReadSmbios(tree, inventory), options.redact};
  for (const auto source : kSources) source(machine, inventory);
  return inventory;
}

}  // namespace

std::string WhyNot(int error) {
  const std::string text = std::strerror(error);
  return error == EACCES || error == EPERM ? text + " (root can read it)" : text;
}

Outcome TLinuxCollector::Collect(const Options& options) const {
  const TTree tree(options.root);
  const TInventory inventory = ReadAll(tree, options);
  return {ToCimXml(inventory.Instances()), inventory.Notes()};
}

std::vector<std::string> TLinuxCollector::Capture(const Options& options,
                                                  const TWrite& write) const {
  const TTree tree(options.root);
  const TInventory inventory = ReadAll(tree, options);
  WriteCapture(tree, options.redact, write);
  return inventory.Notes();
}

}  // namespace svc::collect
