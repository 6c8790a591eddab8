// Firmware of the platform beside its BIOS: trusted platform modules, the processors' microcode,
// and the EFI system resource table.
#include "collect/linux/linux_collector.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <map>
#include <optional>

namespace svc::collect {
namespace {

constexpr const char* kTpms = "/sys/class/tpm";
constexpr const char* kProcessors = "/proc/cpuinfo";
constexpr const char* kResources = "/sys/firmware/efi/esrt/entries";

std::uint32_t Number32(std::string_view bytes, std::size_t offset) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i)
    number = number << 8U | static_cast<std::uint8_t>(bytes[offset + i]);
  return number;
}

// Four letters in a number, such as the id of a maker.
std::string Letters(std::uint32_t number) {
  std::string letters;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    const auto letter = static_cast<char>(number >> shift & 0xFFU);
    if (letter > ' ' && letter < 0x7F) letters += letter;
  }
  return letters;
}

TFirmwareDevice Tpm(const std::string& family, const std::string& maker, std::string version) {
  return {"TPM " + family, maker, std::move(version), "", {}, "tpm"};
}

// Properties of TPM 2.0 (TCG, TPM 2.0 Library, Part 2, TPM_PT).
enum : std::uint32_t {
  kManufacturer = 0x105,
  kVendorString = 0x106,  // The first of four.
  kVendorType = 0x10A,
  kFirmwareVersion1 = 0x10B,
  kFirmwareVersion2 = 0x10C
};

// The command TPM2_GetCapability for eight properties from kManufacturer on.
constexpr std::array<unsigned char, 22> kGetProperties = {
    0x80, 0x01, 0, 0, 0, 0x16, 0, 0, 0x01, 0x7A, 0, 0, 0, 0x06, 0, 0, 0x01, 0x05, 0, 0, 0x00, 0x08};

std::string AskTpm(const std::string& name, std::string& problem) {
  const std::string number = name.substr(name.find_first_of("0123456789"));
  const TDescriptor device(::open(("/dev/tpmrm" + number).c_str(), O_RDWR | O_CLOEXEC));
  std::array<char, 4096> answer{};
  const bool isAsked =
      device && ::write(device.Get(), kGetProperties.data(), kGetProperties.size()) ==
                    static_cast<ssize_t>(kGetProperties.size());
  const ssize_t size = isAsked ? ::read(device.Get(), answer.data(), answer.size()) : -1;
  if (size < 0) problem = WhyNot(errno);
  return {answer.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
}

bool IsTpm(std::string_view name) {
  return name.starts_with("tpm") && name.size() > 3 &&
         name.substr(3).find_first_not_of("0123456789") == std::string_view::npos;
}

void AddTpm(const TTree& tree, const std::string& name, TInventory& inventory) {
  const std::string folder = std::string(kTpms) + "/" + name;
  TRead caps = tree.Read(folder + "/caps");
  if (!caps) caps = tree.Read(folder + "/device/caps");
  auto device = ParseTpm1Capabilities(caps.bytes);
  std::string problem = "its firmware is told by the running module only";
  if (!device && tree.IsLive()) {
    problem = "it tells no firmware version";
    device = ParseTpm2Properties(AskTpm(name, problem));
  }
  if (device)
    AddDevice(*device, inventory);
  else
    inventory.Note(folder + ": " + problem + "; left out");
}

}  // namespace

std::optional<TFirmwareDevice> ParseTpm2Properties(std::string_view answer) {
  constexpr std::size_t kHead = 19;  // Tag, size, code, whether there is more, kind, count.
  if (answer.size() < kHead || Number32(answer, 6) != 0) return {};
  const std::size_t count = Number32(answer, 15);
  std::map<std::uint32_t, std::uint32_t> values;
  for (std::size_t i = 0; i < count && kHead + 8 * (i + 1) <= answer.size(); ++i)
    values[Number32(answer, kHead + 8 * i)] = Number32(answer, kHead + 8 * i + 4);
  if (!values.contains(kFirmwareVersion1) || !values.contains(kManufacturer)) return {};
  const std::uint32_t high = values[kFirmwareVersion1];
  const std::uint32_t low = values[kFirmwareVersion2];
  TFirmwareDevice device =
      Tpm("2.0", Letters(values[kManufacturer]),
          fmt::format("{}.{}.{}.{}", high >> 16U, high & 0xFFFFU, low >> 16U, low & 0xFFFFU));
  std::string model;
  for (std::uint32_t i = 0; i < 4; ++i) model += Letters(values[kVendorString + i]);
  const std::string maker = "TPM\\VEN_" + IdPart(device.vendor);
  const std::string type = fmt::format("{}&DEV_{:04X}", maker, values[kVendorType]);
  device.identifiers = {type + "&VER_2.0", type};
  if (!model.empty()) {
    device.identifiers.push_back(maker + "&MOD_" + IdPart(model) + "&VER_2.0");
    device.identifiers.push_back(maker + "&MOD_" + IdPart(model));
  }
  return device;
}

std::optional<TFirmwareDevice> ParseTpm1Capabilities(std::string_view text) {
  std::map<std::string, std::string> values;
  for (const std::string_view line : Lines(text)) {
    const std::size_t colon = line.find(':');
    if (colon == line.npos) continue;
    values[std::string(Trimmed(line.substr(0, colon)))] = CleanText(line.substr(colon + 1));
  }
  if (values["Firmware version"].empty()) return {};
  const std::string& id = values["Manufacturer"];
  std::uint32_t number = 0;
  if (id.starts_with("0x")) std::from_chars(id.data() + 2, id.data() + id.size(), number, 16);
  TFirmwareDevice device = Tpm("1.2", Letters(number), values["Firmware version"]);
  if (!device.vendor.empty()) device.identifiers = {"TPM\\VEN_" + IdPart(device.vendor)};
  return device;
}

void ReadTpms(const TMachine& machine, TInventory& inventory) {
  for (const std::string& name : machine.tree.List(kTpms)) {
    if (IsTpm(name)) AddTpm(machine.tree, name, inventory);
  }
}

// Microcode, as /proc/cpuinfo tells it of each processor (Linux, arch/x86/kernel/cpu/proc.c).

namespace {

using TValues = std::map<std::string, std::string, std::less<>>;

// The paragraphs of /proc/cpuinfo, one a processor.
std::vector<TValues> Processors(std::string_view text) {
  std::vector<TValues> processors(1);
  for (const std::string_view line : Lines(text)) {
    const std::size_t colon = line.find(':');
    if (Trimmed(line).empty()) processors.emplace_back();
    if (colon == line.npos) continue;
    processors.back()[std::string(Trimmed(line.substr(0, colon)))] =
        CleanText(line.substr(colon + 1));
  }
  return processors;
}

std::optional<TProcessorNumbers> NumbersOf(const TValues& values) {
  std::array<unsigned, 3> numbers{};
  constexpr std::array<const char*, 3> kNames = {"cpu family", "model", "stepping"};
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    const auto found = values.find(kNames[i]);
    if (found == values.end()) return {};
    const std::string& text = found->second;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), numbers[i]);
    if (error != std::errc() || end != text.data() + text.size()) return {};
  }
  return TProcessorNumbers{numbers[0], numbers[1], numbers[2]};
}

}  // namespace

void ReadMicrocode(const TMachine& machine, TInventory& inventory) {
  const TRead file = machine.tree.Read(kProcessors);
  std::vector<TProcessor> processors;
  for (TValues& values : Processors(file.bytes)) {
    processors.push_back(
        {values["model name"], values["vendor_id"], values["microcode"], NumbersOf(values)});
  }
  AddMicrocode(processors, inventory);
}

// The EFI system resource table (Linux, Documentation/ABI/testing/sysfs-firmware-efi-esrt; UEFI,
// 23.4): what firmware can be updated by capsules, by its class.

void ReadResourceTable(const TMachine& machine, TInventory& inventory) {
  for (const std::string& name : machine.tree.List(kResources)) {
    const std::string entry = std::string(kResources) + "/" + name;
    const TRead identity = machine.tree.Read(entry + "/fw_class");
    if (!identity) {
      inventory.Note(entry + ": " + WhyNot(identity.error) + "; left out");
      continue;
    }
    const std::string guid = Guid(FirstLine(identity.bytes));
    if (guid.empty()) continue;
    AddDevice(FirmwareResource(guid, machine.tree.ReadLine(entry + "/fw_type"),
                               machine.tree.ReadLine(entry + "/fw_version")),
              inventory);
  }
}

}  // namespace svc::collect
