// Devices of any kind, with the ids by which catalogues know them. Pure; any thread.
#ifndef COLLECT_FIRMWARE_DEVICE_H_
#define COLLECT_FIRMWARE_DEVICE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collect/cim_xml.h"

namespace svc::collect {

inline constexpr const char* kFirmwareDevice = "SVC_FirmwareDevice";

// What is known of a device. A text that nobody told is empty.
struct TFirmwareDevice {
  std::string name;
  std::string vendor;
  std::string version;
  std::string versionFormat;
  std::vector<std::string> identifiers;
  std::string source;
  std::vector<std::string> vendorIds = {};  // "USB:0x046D", as catalogues name vendors.
  std::string branch = {};
  std::string bootloaderVersion = {};
};

// Adds the device, unless nothing but its source is known.
void AddDevice(const TFirmwareDevice& device, TInventory& inventory);

// Adds devices that somebody else told of the same machine. One of them that has an identifier of a
// device which is there already is that device: it takes its place, and what only the inventory
// knew of it stays. Each of several of one kind takes another place, the one that has its version
// first.
void MergeDevices(const std::vector<TFirmwareDevice>& devices, TInventory& inventory);

// The numbers of a PCI device as sysfs and Redfish write them, such as "0x8086".
struct TPciNumbers {
  std::string vendor;
  std::string device;
  std::string subsystemVendor;
  std::string subsystemDevice;
};

// "PCI\VEN_8086&DEV_1572&SUBSYS_80860002", vendor before device in both halves, and below it the
// ids that say less. `bus` is "PCI" or the kind of device that is known by these numbers, such as
// "NVME". None where the numbers are none.
std::vector<std::string> PciIdentifiers(std::string_view bus, const TPciNumbers& numbers);

// --- Devices as the sources of every system tell them ---

// A disk, and the ids by which catalogues know one that speaks NVMe, ATA or SCSI. Of NVMe the
// numbers are those of its controller on PCI. What SCSI tells of an ATA disk names `kAtaVendor`.
inline constexpr std::string_view kAtaVendor = "ATA";
TFirmwareDevice NvmeDisk(const std::string& model, const std::string& revision,
                         const TPciNumbers& controller);
TFirmwareDevice AtaDisk(const std::string& model, const std::string& revision);
TFirmwareDevice ScsiDisk(const std::string& vendor, const std::string& model,
                         const std::string& revision);

// An entry of the EFI system resource table (UEFI, 23.4): type and version are its numbers, in
// decimal.
TFirmwareDevice FirmwareResource(const std::string& guid, std::string_view type,
                                 const std::string& version);

struct TProcessorNumbers {
  unsigned family = 0;
  unsigned model = 0;
  unsigned stepping = 0;
};

struct TProcessor {
  std::string name;
  std::string vendor;
  std::string revision;  // Of its microcode, "0xde".
  std::optional<TProcessorNumbers> numbers = {};
};

// The microcode of each kind of processor once. A revision that a hypervisor hides is none.
void AddMicrocode(const std::vector<TProcessor>& processors, TInventory& inventory);

// --- Parts of ids ---

// A text as a part of an id: blanks and the marks that part ids become a "-".
std::string IdPart(std::string_view text);

// In small letters where the text is a GUID (RFC 9562); empty where it is none.
std::string Guid(std::string_view text);

}  // namespace svc::collect

#endif  // COLLECT_FIRMWARE_DEVICE_H_
