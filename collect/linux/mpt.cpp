// LSI SAS controllers of the Fusion-MPT family: the host attributes of the drivers mptsas, mpt2sas
// and mpt3sas (Linux, drivers/message/fusion/mptscsih.c and drivers/scsi/mpt3sas/mpt3sas_ctl.c).
#include <array>

#include "collect/linux/machine.h"

namespace svc::collect {
namespace {

bool IsMptDriver(std::string_view name) {
  constexpr std::array<std::string_view, 3> kDrivers = {"mptsas", "mpt2sas", "mpt3sas"};
  for (const std::string_view driver : kDrivers) {
    if (name == driver) return true;
  }
  return false;
}

// A controller without a BIOS tells version 0 of it.
bool IsVersion(std::string_view text) {
  return text.find_first_not_of("0.") != std::string_view::npos;
}

void AddElement(const TTree& tree, const std::string& host, const char* kind, const char* className,
                const std::string& attribute, TInventory& inventory) {
  const std::string version = tree.ReadLine(host + "/" + attribute);
  if (!IsVersion(version)) {
    inventory.Note(host + "/" + attribute + ": the controller tells no version; left out");
    return;
  }
  const std::string product = tree.ReadLine(host + "/version_product");
  const std::string board = tree.ReadLine(host + "/board_name");
  inventory.Add(TInstance(className)
                    .Set("Name", (board.empty() ? product : board) + kind)
                    .Set("ProductID", product)
                    .Set("Version", version));
}

}  // namespace

void ReadMpt(const TMachine& machine, TInventory& inventory) {
  for (const std::string& name : machine.tree.List(kScsiHosts)) {
    const std::string host = std::string(kScsiHosts) + "/" + name;
    if (!IsMptDriver(machine.tree.ReadLine(host + "/proc_name"))) continue;
    AddElement(machine.tree, host, " Firmware", "QRXSG_LSIFirmwareElement", "version_fw",
               inventory);
    AddElement(machine.tree, host, " BIOS", "QRXSG_LSIBIOSElement", "version_bios", inventory);
  }
}

}  // namespace svc::collect
