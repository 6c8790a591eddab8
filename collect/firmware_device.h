// What firmware says of a machine, taken apart: devices of any kind, with the ids by which
// catalogues know them; those that the client of public firmware services, fwupd, knows, for it
// talks to many kinds that nothing else reads; and a platform's SMBIOS structure table (DMTF
// DSP0134) and an answer of IPMI. Pure functions, but for the one that asks; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
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

// The devices that the client of public firmware services, fwupd, knows of a machine: it talks to
// many kinds that nothing else reads. Pure; any thread.

// What is taken: far more than any machine has.
inline constexpr std::size_t kMostClientBytes = 4U << 20U;
inline constexpr std::size_t kMostClientDevices = 4096;
inline constexpr std::size_t kMostClientItems = 256;  // Of one list of a device.

// The devices of what `fwupdmgr get-devices --json` prints, in its order; those without an
// identifier are left out, for no catalogue can offer them anything. What a device does not tell,
// or tells in another form than it should, is empty. Throws TError for what is no such answer, for
// more than is taken, and with the client's own words where that answers that it failed.
std::vector<TFirmwareDevice> ReadClientDevices(std::string_view json);

// What the firmware of a platform and its management controller say in bytes, taken apart: the
// SMBIOS structure table (DMTF DSP0134) and an answer of IPMI. Pure functions, but for the one that
// asks; any thread.

// One structure: its formatted area, header included, and its strings. Offsets are those of
// DSP0134; what lies behind the structure's end reads as 0 or as no text.
class TSmbiosStructure {
 public:
  TSmbiosStructure(std::string formatted, std::vector<std::string> strings)
      : formatted(std::move(formatted)), strings(std::move(strings)) {}

  std::uint8_t Type() const { return Byte(0); }
  std::uint8_t Byte(std::size_t offset) const {
    return offset < formatted.size() ? static_cast<std::uint8_t>(formatted[offset]) : 0;
  }
  std::string_view Bytes(std::size_t offset, std::size_t count) const {
    if (offset + count > formatted.size()) return {};
    return std::string_view(formatted).substr(offset, count);
  }
  // The string whose number stands at `offset`; number 0 means none.
  std::string_view Text(std::size_t offset) const {
    const std::size_t number = Byte(offset);
    if (number == 0 || number > strings.size()) return {};
    return strings[number - 1];
  }

 private:
  std::string formatted;
  std::vector<std::string> strings;
};

// One piece of firmware that the platform tells of in a Firmware Inventory structure (type 45).
struct TFirmwareComponent {
  std::string name;
  std::string version;
  // The maker's own id; empty where it is a GUID, which says nothing of a build.
  std::string id;
};

// Never reads outside the bytes given, however broken they are.
struct TSmbiosTable {
  std::vector<TSmbiosStructure> structures;
  // Why the table could not be read, or not to its end; empty when all is well.
  std::string problem;

  // The first structure of a type; null when there is none. Valid as long as the table.
  const TSmbiosStructure* First(std::uint8_t type) const;
  // Those of type 45 that are there (their state is not "absent") and have a name and a version.
  std::vector<TFirmwareComponent> FirmwareComponents() const;
};

TSmbiosTable ParseSmbiosTable(std::string_view bytes);

// The table with nothing in it that tells one machine from another of its kind: the structures of
// types 0, 1 (without serial number and UUID), 38 and 45, and an end marker.
std::string WithoutIdentity(std::string_view table);

// The 16 bytes of a UUID as its text (RFC 9562); empty when the maker set none (all bits 0 or 1).
// Since SMBIOS 2.6 the first three fields are little-endian.
std::string SmbiosUuid(std::string_view bytes, bool littleEndian);

// --- The management controller ---

// What a management controller answers to the IPMI command Get Device ID (IPMI 2.0, 20.1).

inline constexpr const char* kManagementControllerName = "Baseboard Management Controller";

struct TManagementController {
  std::string version;
  // The maker's own part of the revision, as eight hexadecimal digits; empty where there is none.
  std::string auxiliary;
};

// From the data of the response, its completion code first. Nothing when the controller refused or
// the response is too short.
std::optional<TManagementController> ParseDeviceId(std::string_view response);

// "1.5", as the kernel writes major and minor, is 1.05: the minor part is BCD of two digits.
std::string BcdVersion(std::string_view revision);

// Asks the controller of this machine through a device of the kernel (linux/ipmi.h), for a few
// seconds at most. Where it gives none, `problem` says why; it stays empty where there is no such
// device.
std::optional<TManagementController> AskManagementController(const char* device,
                                                             std::string& problem);

}  // namespace svc::collect
