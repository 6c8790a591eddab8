// The machine's identity and its BIOS: /sys/class/dmi/id (Linux, Documentation/ABI/testing/
// sysfs-class-dmi), and where that lacks a value the SMBIOS structures of types 0 and 1 from which
// the kernel takes it.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "collect/linux/linux_collector.h"
#include "collect/linux/operating_system.h"
#include "collect/product_names.h"

namespace svc::collect {
namespace {

constexpr std::uint8_t kBiosInformation = 0;
constexpr std::uint8_t kSystemInformation = 1;
constexpr std::uint8_t kBaseboard = 2;
constexpr std::uint8_t kEnclosure = 3;

std::string Attribute(const TMachine& machine, const std::string& name) {
  return machine.tree.ReadLine(std::string(kDmiFolder) + "/" + name);
}

std::string AttributeOr(const TMachine& machine, const std::string& name, std::uint8_t type,
                        std::size_t offset) {
  std::string value = Attribute(machine, name);
  const TSmbiosStructure* const structure = machine.smbios.First(type);
  if (value.empty() && structure != nullptr) value = CleanText(structure->Text(offset));
  return value;
}

// Both entry points tell the version of SMBIOS, in different places (DSP0134, 5.2).
bool HasLittleEndianUuid(const TMachine& machine) {
  const TRead file = machine.tree.Read(kSmbiosEntryPoint);
  const std::string_view bytes = file.bytes;
  if (bytes.starts_with("_SM3_")) return true;
  return bytes.starts_with("_SM_") && bytes.size() > 7 &&
         (bytes[6] > 2 || (bytes[6] == 2 && bytes[7] >= 6));
}

std::string Uuid(const TMachine& machine) {
  std::string uuid = Attribute(machine, "product_uuid");
  const TSmbiosStructure* const structure = machine.smbios.First(kSystemInformation);
  if (uuid.empty() && structure != nullptr) {
    uuid = SmbiosUuid(structure->Bytes(8, 16), HasLittleEndianUuid(machine));
  }
  return uuid;
}

void NoteUnreadable(const TMachine& machine, const std::string& name, TInventory& inventory) {
  const std::string path = std::string(kDmiFolder) + "/" + name;
  const int error = machine.tree.Read(path).error;
  if (error != 0 && error != ENOENT) inventory.Note(path + ": " + WhyNot(error) + "; left out");
}

// As the running kernel knows it, or else as it is set at the next start (hostname(5)).
std::string HostName(const TMachine& machine) {
  constexpr const char* kNoName = "(none)";  // What the kernel says before it is set.
  const std::string running = machine.tree.ReadLine("/proc/sys/kernel/hostname");
  if (!running.empty() && running != kNoName) return running;
  const TRead file = machine.tree.Read("/etc/hostname");
  for (const std::string_view line : Lines(file.bytes)) {
    if (!Trimmed(line).empty() && !Trimmed(line).starts_with('#')) return CleanText(line);
  }
  return {};
}

void SetIdentity(const TMachine& machine, TInstance& system, TInventory& inventory) {
  const std::string serial = AttributeOr(machine, "product_serial", kSystemInformation, 7);
  const std::string uuid = Uuid(machine);
  if (serial.empty()) NoteUnreadable(machine, "product_serial", inventory);
  if (uuid.empty()) NoteUnreadable(machine, "product_uuid", inventory);
  system.Set("SerialNumber", serial).Set("UUID", uuid).Set("Name", HostName(machine));
}

// A byte of a structure as a decimal number; empty where there is no such structure.
std::string Number(const TMachine& machine, std::uint8_t type, std::size_t offset) {
  const TSmbiosStructure* const structure = machine.smbios.First(type);
  if (structure == nullptr || structure->Bytes(offset, 1).empty()) return {};
  return std::to_string(structure->Byte(offset));
}

// The kind of enclosure: the structure has a bit for its lock as well, which counts in the public
// scheme of hardware ids and which the kernel takes away.
std::string EnclosureType(const TMachine& machine) {
  std::string type = Attribute(machine, "chassis_type");
  std::string own = Number(machine, kEnclosure, 5);
  return own.empty() ? type : own;
}

// What hardware ids are made of beside maker and model.
void SetHardwareFields(const TMachine& machine, TInstance& system) {
  const std::string release = Attribute(machine, "bios_release");  // "1.15"
  const std::size_t dot = std::min(release.find('.'), release.size());
  const auto either = [](std::string told, std::string_view kernels) {
    return told.empty() ? std::string(kernels) : told;
  };
  const std::string_view minor =
      std::string_view(release).substr(std::min(dot + 1, release.size()));
  system.Set("Family", AttributeOr(machine, "product_family", kSystemInformation, 0x1A))
      .Set("SKUNumber", AttributeOr(machine, "product_sku", kSystemInformation, 0x19))
      .Set("BaseboardManufacturer", AttributeOr(machine, "board_vendor", kBaseboard, 4))
      .Set("BaseboardProduct", AttributeOr(machine, "board_name", kBaseboard, 5))
      .Set("BIOSVendor", AttributeOr(machine, "bios_vendor", kBiosInformation, 4))
      .Set("BIOSVersion", AttributeOr(machine, "bios_version", kBiosInformation, 5))
      .Set("BIOSMajorRelease",
           either(Number(machine, kBiosInformation, 0x14), release.substr(0, dot)))
      .Set("BIOSMinorRelease", either(Number(machine, kBiosInformation, 0x15), minor))
      .Set("EnclosureType", EnclosureType(machine));
}

}  // namespace

void ReadComputerSystem(const TMachine& machine, TInventory& inventory) {
  const std::string product = AttributeOr(machine, "product_name", kSystemInformation, 5);
  if (product.empty()) {
    inventory.Note(fmt::format(
        "{}/product_name: no product name, nor in the SMBIOS tables; the machine type is unknown",
        kDmiFolder));
  }
  TInstance system("QRXSG_ComputerSystem");
  system.Set("MachineType", MachineTypeOf(product))
      .Set("Manufacturer", AttributeOr(machine, "sys_vendor", kSystemInformation, 4))
      .Set("Model", product);
  SetHardwareFields(machine, system);
  if (!machine.redact) SetIdentity(machine, system, inventory);
  inventory.Add(system);
}

void ReadSystemBios(const TMachine& machine, TInventory& inventory) {
  const std::string version = AttributeOr(machine, "bios_version", kBiosInformation, 5);
  if (version.empty()) {
    inventory.Note(fmt::format(
        "{}/bios_version: no BIOS version, nor in the SMBIOS tables; left out", kDmiFolder));
    return;
  }
  inventory.Add(SystemBios(version)
                    .Set("Manufacturer", AttributeOr(machine, "bios_vendor", kBiosInformation, 4))
                    .Set("ReleaseDate", AttributeOr(machine, "bios_date", kBiosInformation, 8)));
}

// The platform may tell of its diagnostics partition among its firmware.
void ReadDiagnostics(const TMachine& machine, TInventory& inventory) {
  for (const TFirmwareComponent& component : machine.smbios.FirmwareComponents()) {
    if (!Contains(Lowered(component.name), "diagnostic")) continue;
    inventory.Add(TInstance("QRXSG_DiagnosticVPD")
                      .Set("BuildNumber", component.id)
                      .Set("Version", component.version));
  }
}

}  // namespace svc::collect
