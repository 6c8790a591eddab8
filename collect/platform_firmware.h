// What the firmware of a platform and its management controller say in bytes, taken apart: the
// SMBIOS structure table (DMTF DSP0134) and an answer of IPMI. Pure functions, but for the one that
// asks; any thread.
#ifndef COLLECT_PLATFORM_FIRMWARE_H_
#define COLLECT_PLATFORM_FIRMWARE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace svc::collect {

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

#endif  // COLLECT_PLATFORM_FIRMWARE_H_
