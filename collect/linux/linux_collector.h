// The collectors of Linux, and the system tree that they read: the files below one root, the live
// system's or a captured one's.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/path_walk.h"
#include "collect/cim_xml.h"
#include "collect/collector.h"
#include "collect/firmware_device.h"

namespace svc::collect {

using files::TDescriptor;

// What reading a file gave: its bytes, or the errno value that says why there are none.
struct TRead {
  std::string bytes;
  int error = 0;

  explicit operator bool() const { return error == 0; }
};

// Reads files by their absolute paths in the tree. A symbolic link never leads out of the tree: an
// absolute one starts at the root again. Remembers what was read. Not safe for use from several
// threads at once.
class TTree {
 public:
  // Throws TError when `root` is no folder that can be opened.
  explicit TTree(const std::string& root);

  // Whether this is the running system, whose devices can be asked as well.
  bool IsLive() const { return live; }

  // A file or a folder; a captured tree may hold anything under their names, and a pipe there must
  // not block. A failure leaves errno set. Remembers no path.
  TDescriptor Open(const std::string& path, int flags) const;
  // At most 64 MiB; a larger file fails with EFBIG.
  TRead Read(const std::string& path) const;
  // The first line, cleaned; empty when there is none or the file cannot be read.
  std::string ReadLine(const std::string& path) const;
  // The names in a folder in their byte order, without "." and ".."; empty when it cannot be read.
  std::vector<std::string> List(const std::string& path) const;

  // Counts `path` among the files read; for those that a library reads on its own.
  void Remember(const std::string& path) const { readFiles.insert(path); }
  // The files that could be read so far.
  const std::set<std::string>& ReadFiles() const { return readFiles; }

 private:
  int OpenBelow(const std::string& path, int flags) const;

  TDescriptor root;
  bool live;
  mutable std::set<std::string> readFiles;
};

// The collector of a Linux machine, its sources, and what these make of the answers of kernel and
// devices, for tests too.

class TLinuxCollector : public ICollector {
 public:
  Outcome Collect(const Options& options) const override;
  std::vector<std::string> Capture(const Options& options, const TWrite& write) const override;
  std::vector<SourceState> TrySources() const override;
};

// --- The machine as the sources see it, and the list of the sources ---

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

// Writes the files that were read of `tree` so far as a tar archive, under the paths by which they
// were read, so that no symbolic link is needed. With `redact` the files that tell serial numbers
// or UUIDs are left out, and the SMBIOS table loses them. Throws what `write` throws, and
// TError.
void WriteCapture(const TTree& tree, bool redact, const TWrite& write);

// --- What network drivers tell of the firmware that runs on their devices ---

// The running versions of a device by their names ("fw", "fw.mgmt", ...), asked of the kernel's
// devlink interface (linux/devlink.h; Linux, Documentation/networking/devlink/devlink-info.rst).
// Empty where the device, its driver or the kernel knows no devlink.
std::map<std::string, std::string> DevlinkRunningVersions(const std::string& bus,
                                                          const std::string& device);

// The firmware version of a network interface (ETHTOOL_GDRVINFO, linux/ethtool.h); empty where its
// driver tells none.
std::string EthtoolFirmwareVersion(const std::string& interfaceName);

// --- What a trusted platform module answers. Pure; any thread. ---

// From the answer to TPM2_GetCapability for its properties (TCG, TPM 2.0 Library, Part 3); nothing
// where that is an error or cut short.
std::optional<TFirmwareDevice> ParseTpm2Properties(std::string_view answer);

// From the file "caps" of a TPM 1.2 (Linux, Documentation/ABI/stable/sysfs-class-tpm); nothing
// where it tells no firmware version.
std::optional<TFirmwareDevice> ParseTpm1Capabilities(std::string_view text);

// --- What a MegaRAID SAS controller tells of itself ---

struct TRaidController {
  std::string product;
  std::string package;  // the version of its firmware package
};

// From the answer to MR_DCMD_CTRL_GET_INFO (struct megasas_ctrl_info in Linux, drivers/scsi/
// megaraid/megaraid_sas.h); nothing when it is too short.
std::optional<TRaidController> ParseControllerInfo(std::string_view info);

// Asks the controller behind SCSI host number `host` of this machine through the driver's control
// device. Where it gives none, `problem` says why.
std::optional<TRaidController> AskRaidController(const TTree& tree, unsigned host,
                                                 std::string& problem);

// --- How the operating system's own texts become the inventory's. Pure; any thread. ---

// What a distribution says of itself, each as its file holds it, empty where there is none.
struct TReleaseTexts {
  std::map<std::string, std::string> osRelease;  // os-release(5)
  std::string redHat;                            // /etc/redhat-release
  std::string suse;                              // /etc/SuSE-release
  std::string vmware;                            // /etc/vmware-release
};

// The text in which a release is looked for: a Red Hat release has "release N" in it; a SUSE text
// names its own release alone, and neither a service pack nor a platform (such as s390x) that
// could be taken for another.
std::string BuildId(const TReleaseTexts& texts);

// OSType as the inventory numbers it: 36 for every Linux distribution, 78 and 81 for ESX 3 and 4.
unsigned OsType(const TReleaseTexts& texts);

// The name of a hardware platform at the end of a kernel release such as "2.6.32-71.el6.x86_64" or
// "6.1.0-18-amd64"; empty where there is none.
std::string PlatformOfRelease(std::string_view kernelRelease);

}  // namespace svc::collect
