// The machine's identity and its BIOS: /sys/class/dmi/id (Linux, Documentation/ABI/testing/
// sysfs-class-dmi), and where that lacks a value the SMBIOS structures of types 0 and 1 from which
// the kernel takes it.

#include <fmt/format.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>

#include "collect/cim_xml.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {

constexpr std::uint8_t kBiosInformation = 0;
constexpr std::uint8_t kSystemInformation = 1;
constexpr std::uint8_t kBaseboard = 2;
constexpr std::uint8_t kEnclosure = 3;

static std::string Attribute(const TMachine& machine, const std::string& name) {
  return machine.tree.ReadLine(std::string(kDmiFolder) + "/" + name);
}

static std::string AttributeOr(const TMachine& machine, const std::string& name, std::uint8_t type,
                               std::size_t offset) {
  std::string value = Attribute(machine, name);
  const TSmbiosStructure* const structure = machine.smbios.First(type);
  if (value.empty() && structure != nullptr) value = CleanText(structure->Text(offset));
  return value;
}

// Both entry points tell the version of SMBIOS, in different places (DSP0134, 5.2).
static bool HasLittleEndianUuid(const TMachine& machine) {
  const TRead file = machine.tree.Read(kSmbiosEntryPoint);
  const std::string_view bytes = file.bytes;
  if (bytes.starts_with("_SM3_")) return true;
  return bytes.starts_with("_SM_") && bytes.size() > 7 &&
         (bytes[6] > 2 || (bytes[6] == 2 && bytes[7] >= 6));
}

static std::string Uuid(const TMachine& machine) {
  std::string uuid = Attribute(machine, "product_uuid");
  const TSmbiosStructure* const structure = machine.smbios.First(kSystemInformation);
  if (uuid.empty() && structure != nullptr) {
    uuid = SmbiosUuid(structure->Bytes(8, 16), HasLittleEndianUuid(machine));
  }
  return uuid;
}

static void NoteUnreadable(const TMachine& machine, const std::string& name,
                           TInventory& inventory) {
  const std::string path = std::string(kDmiFolder) + "/" + name;
  const int error = machine.tree.Read(path).error;
  if (error != 0 && error != ENOENT) inventory.Note(path + ": " + WhyNot(error) + "; left out");
}

// As the running kernel knows it, or else as it is set at the next start (hostname(5)).
static std::string HostName(const TMachine& machine) {
  constexpr const char* kNoName = "(none)";  // What the kernel says before it is set.
  const std::string running = machine.tree.ReadLine("/proc/sys/kernel/hostname");
  if (!running.empty() && running != kNoName) return running;
  const TRead file = machine.tree.Read("/etc/hostname");
  for (const std::string_view line : Lines(file.bytes)) {
    if (!Trimmed(line).empty() && !Trimmed(line).starts_with('#')) return CleanText(line);
  }
  return {};
}

static void SetIdentity(const TMachine& machine, TInstance& system, TInventory& inventory) {
  const std::string serial = AttributeOr(machine, "product_serial", kSystemInformation, 7);
  const std::string uuid = Uuid(machine);
  if (serial.empty()) NoteUnreadable(machine, "product_serial", inventory);
  if (uuid.empty()) NoteUnreadable(machine, "product_uuid", inventory);
  system.Set("SerialNumber", serial).Set("UUID", uuid).Set("Name", HostName(machine));
}

// A byte of a structure as a decimal number; empty where there is no such structure.
static std::string Number(const TMachine& machine, std::uint8_t type, std::size_t offset) {
  const TSmbiosStructure* const structure = machine.smbios.First(type);
  if (structure == nullptr || structure->Bytes(offset, 1).empty()) return {};
  return std::to_string(structure->Byte(offset));
}

// The kind of enclosure: the structure has a bit for its lock as well, which counts in the public
// scheme of hardware ids and which the kernel takes away.
static std::string EnclosureType(const TMachine& machine) {
  std::string type = Attribute(machine, "chassis_type");
  std::string own = Number(machine, kEnclosure, 5);
  return own.empty() ? type : own;
}

// What hardware ids are made of beside maker and model.
static void SetHardwareFields(const TMachine& machine, TInstance& system) {
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

// --- The operating system: os-release(5), the release files from before its time, uname(2) ---

constexpr unsigned kLinux = 36;
constexpr unsigned kEsx3 = 78;
constexpr unsigned kEsx4 = 81;

static std::string ValueOf(const std::map<std::string, std::string>& values,
                           const std::string& name) {
  const auto found = values.find(name);
  return found == values.end() ? std::string() : found->second;
}

static bool IsRedHatFamily(const TReleaseTexts& texts) {
  const std::string ids =
      ' ' + ValueOf(texts.osRelease, "ID") + ' ' + ValueOf(texts.osRelease, "ID_LIKE") + ' ';
  const bool named =
      Contains(ids, " rhel ") || Contains(ids, " fedora ") || Contains(ids, " centos ");
  return named || (texts.osRelease.empty() && !texts.redHat.empty());
}

// "Red Hat Enterprise Linux 8.6 (Ootpa)" becomes "Red Hat Enterprise Linux release 8.6 (Ootpa)",
// as the older release files have it.
static std::string RedHatBuildId(const TReleaseTexts& texts) {
  std::string name = ValueOf(texts.osRelease, "PRETTY_NAME");
  if (name.empty()) name = FirstLine(texts.redHat);
  const std::string version = ValueOf(texts.osRelease, "VERSION_ID");
  if (Contains(name, "release ") || version.empty()) return name;
  const std::size_t at = name.find(version);
  return at == std::string::npos ? name + " release " + version : name.insert(at, "release ");
}

// The release of SUSE that is found in a text: the first of these numbers that is in it anywhere.
static std::string_view SuseRelease(std::string_view text) {
  for (const std::string_view release : {"9", "10", "11"}) {
    if (Contains(text, release)) return release;
  }
  return {};
}

static std::string WithServicePack(const std::string& name, const std::string& level) {
  if (level.empty() || level == "0") return name;
  const std::string whole = name + " SP" + level;
  return SuseRelease(whole) == SuseRelease(name) ? whole : name;
}

// "SUSE Linux Enterprise Server 10 (s390x)", then lines such as "PATCHLEVEL = 2".
static std::string SuseBuildId(const std::string& release) {
  const std::string_view first = FirstLine(release);
  const std::string name(Trimmed(first.substr(0, first.find('('))));
  return WithServicePack(name, ValueOf(Assignments(release), "PATCHLEVEL"));
}

// "SUSE Linux Enterprise Server 11 SP4".
static std::string SuseBuildIdOfPrettyName(const std::string& pretty) {
  const std::string name(Trimmed(std::string_view(pretty).substr(0, pretty.find('('))));
  const std::size_t pack = name.rfind(" SP");
  if (pack == std::string::npos) return name;
  return WithServicePack(name.substr(0, pack), name.substr(pack + 3));
}

static std::string Caption(const TReleaseTexts& texts) {
  const std::string pretty = ValueOf(texts.osRelease, "PRETTY_NAME");
  for (const std::string* text : {&texts.vmware, &pretty, &texts.redHat, &texts.suse}) {
    if (const std::string_view line = FirstLine(*text); !line.empty()) return std::string(line);
  }
  return {};
}

static TReleaseTexts ReadReleaseTexts(const TTree& tree) {
  TRead osRelease = tree.Read("/etc/os-release");
  if (!osRelease) osRelease = tree.Read("/usr/lib/os-release");
  return {Assignments(osRelease.bytes), tree.Read("/etc/redhat-release").bytes,
          tree.Read("/etc/SuSE-release").bytes, tree.Read("/etc/vmware-release").bytes};
}

static std::string HardwarePlatform(const TTree& tree, const std::string& kernelRelease) {
  utsname names{};
  const std::string told = tree.ReadLine(kArchitecture);
  if (!told.empty()) return told;
  if (tree.IsLive() && ::uname(&names) == 0) return names.machine;
  return PlatformOfRelease(kernelRelease);
}

std::string BuildId(const TReleaseTexts& texts) {
  if (!texts.vmware.empty()) return std::string(FirstLine(texts.vmware));
  if (!texts.suse.empty()) return SuseBuildId(texts.suse);
  if (IsRedHatFamily(texts)) return RedHatBuildId(texts);
  const std::string caption = Caption(texts);
  return Contains(caption, "SUSE") ? SuseBuildIdOfPrettyName(caption) : caption;
}

unsigned OsType(const TReleaseTexts& texts) {
  const std::size_t product = texts.vmware.find("ESX");
  if (product == std::string::npos) return kLinux;
  const std::size_t release = texts.vmware.find_first_of("0123456789", product);
  if (release == std::string::npos) return kLinux;
  const bool oneDigit = release + 1 >= texts.vmware.size() ||
                        std::isdigit(static_cast<unsigned char>(texts.vmware[release + 1])) == 0;
  if (oneDigit && texts.vmware[release] == '3') return kEsx3;
  return oneDigit && texts.vmware[release] == '4' ? kEsx4 : kLinux;
}

std::string PlatformOfRelease(std::string_view kernelRelease) {
  constexpr std::array<std::string_view, 11> kPlatforms = {"x86_64", "amd64",   "i686", "i586",
                                                           "i386",   "686-pae", "686",  "aarch64",
                                                           "arm64",  "ppc64le", "s390x"};
  for (const std::string_view platform : kPlatforms) {
    if (!kernelRelease.ends_with(platform)) continue;
    if (platform == "amd64") return "x86_64";
    if (platform.starts_with("686")) return "i686";
    return platform == "arm64" ? "aarch64" : std::string(platform);
  }
  return {};
}

void ReadOperatingSystem(const TMachine& machine, TInventory& inventory) {
  const TReleaseTexts texts = ReadReleaseTexts(machine.tree);
  const std::string kernel = machine.tree.ReadLine("/proc/sys/kernel/osrelease");
  const std::string platform = HardwarePlatform(machine.tree, kernel);
  if (Caption(texts).empty()) inventory.Note("/etc/os-release: no name of the operating system");
  if (platform.empty()) {
    inventory.Note(std::string(kArchitecture) + ": no hardware platform, nor in the kernel's name");
  }
  inventory.Add(TInstance("QRXSG_OperatingSystem")
                    .Set("Version", kernel)
                    .Set("OSType", std::to_string(OsType(texts)), "uint16")
                    .Set("BuildID", BuildId(texts))
                    .Set("HardwarePlatform", platform)
                    .Set("Caption", Caption(texts)));
}

}  // namespace svc::collect
