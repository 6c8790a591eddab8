// The collector of a Linux machine.
#ifndef COLLECT_LINUX_LINUX_COLLECTOR_H_
#define COLLECT_LINUX_LINUX_COLLECTOR_H_

#include <string>

#include "collect/cim_xml.h"
#include "collect/collector.h"
#include "collect/firmware_device.h"
#include "collect/linux/tree.h"
#include "collect/smbios.h"

namespace svc::collect {

class TLinuxCollector : public ICollector {
 public:
  Outcome Collect(const Options& options) const override;
  std::vector<std::string> Capture(const Options& options, const TWrite& write) const override;
  std::vector<SourceState> TrySources() const override;
};

// The machine as the sources see it, and the list of the sources.

// Paths that more than one source or the capture names.
inline constexpr const char* kDmiFolder = "/sys/class/dmi/id";
inline constexpr const char* kSmbiosTable = "/sys/firmware/dmi/tables/DMI";
inline constexpr const char* kSmbiosEntryPoint = "/sys/firmware/dmi/tables/smbios_entry_point";
inline constexpr const char* kArchitecture = "/proc/sys/kernel/arch";
inline constexpr const char* kScsiHosts = "/sys/class/scsi_host";

// What the sources share. One Collect makes one; its sources run one after the other.
struct TMachine {
  const TTree& tree;
  TSmbiosTable smbios;
  bool redact;
};

// Says `error` (an errno value) and, where it would help, that root can do it.
std::string WhyNot(int error);

// Each source reads one thing and adds the instances it finds; what it finds but cannot read, it
// notes. None of them throws for what a machine says.
void ReadComputerSystem(const TMachine& machine, TInventory& inventory);
void ReadOperatingSystem(const TMachine& machine, TInventory& inventory);
void ReadSystemBios(const TMachine& machine, TInventory& inventory);
void ReadDiagnostics(const TMachine& machine, TInventory& inventory);
void ReadManagementControllers(const TMachine& machine, TInventory& inventory);
void ReadBroadcom(const TMachine& machine, TInventory& inventory);
void ReadMegaRaid(const TMachine& machine, TInventory& inventory);
void ReadMpt(const TMachine& machine, TInventory& inventory);
void ReadDrivers(const TMachine& machine, TInventory& inventory);
// Into the class for firmware of any kind.
void ReadDisks(const TMachine& machine, TInventory& inventory);
void ReadTpms(const TMachine& machine, TInventory& inventory);
void ReadMicrocode(const TMachine& machine, TInventory& inventory);
void ReadResourceTable(const TMachine& machine, TInventory& inventory);
void ReadNetworkDevices(const TMachine& machine, TInventory& inventory);

// The numbers of a PCI device by its folder.
TPciNumbers ReadPciNumbers(const TTree& tree, const std::string& device);

}  // namespace svc::collect

#endif  // COLLECT_LINUX_LINUX_COLLECTOR_H_
