#include "collect/firmware_device.h"

#include <fmt/format.h>

#include <algorithm>

#include "collect/cim_xml.h"

namespace svc::collect {
namespace {

constexpr std::size_t kHeaderSize = 4;
constexpr char kSystemInformation = 1;
constexpr std::uint8_t kFirmwareInventory = 45;
constexpr std::uint8_t kEndOfTable = 127;

// Where one structure lies in the table: its formatted area, then its strings with their end.
struct TExtent {
  std::size_t formatted = 0;
  std::size_t whole = 0;
  std::string problem;
};

// The strings end with two zero bytes, which stand there alone when there are no strings.
TExtent Measure(std::string_view rest) {
  if (rest.size() < kHeaderSize) return {0, 0, "ends within a header"};
  const std::size_t formatted = static_cast<std::uint8_t>(rest[1]);
  if (formatted < kHeaderSize) return {0, 0, fmt::format("says a length of {}", formatted)};
  if (formatted > rest.size()) {
    return {0, 0, fmt::format("says {} bytes where {} are left", formatted, rest.size())};
  }
  const std::size_t end = rest.find(std::string_view("\0\0", 2), formatted);
  if (end == std::string_view::npos) return {0, 0, "has strings without an end"};
  return {formatted, end + 2, {}};
}

std::vector<std::string> Split(std::string_view strings) {
  std::vector<std::string> texts;
  while (!strings.empty() && strings.front() != '\0') {
    const std::size_t end = strings.find('\0');
    texts.emplace_back(strings.substr(0, end));
    strings.remove_prefix(end + 1);
  }
  return texts;
}

// Calls `visit` with the bytes and the extent of each structure. Returns what is wrong, if any.
template <typename TVisit>
std::string Walk(std::string_view bytes, TVisit visit) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string_view rest = bytes.substr(at);
    const TExtent extent = Measure(rest);
    if (!extent.problem.empty()) {
      return fmt::format("the structure at byte {} {}", at, extent.problem);
    }
    visit(rest.substr(0, extent.whole), extent.formatted);
    if (static_cast<std::uint8_t>(rest[0]) == kEndOfTable) break;
    at += extent.whole;
  }
  return {};
}

// System Information (type 1) with a blank serial number and no UUID.
std::string BlankedSystem(std::string_view structure, std::size_t formatted) {
  constexpr std::size_t kSerialNumber = 7, kUuid = 8, kUuidSize = 16;
  std::string blanked(structure.substr(0, formatted));
  std::vector<std::string> strings = Split(structure.substr(formatted));
  const std::size_t number =
      formatted > kSerialNumber ? static_cast<std::uint8_t>(blanked[kSerialNumber]) : 0;
  if (number > 0 && number <= strings.size()) strings[number - 1].assign(1, ' ');
  for (std::size_t i = kUuid; i < std::min(formatted, kUuid + kUuidSize); ++i) blanked[i] = '\0';
  for (const std::string& text : strings) blanked += text + '\0';
  return blanked + (strings.empty() ? std::string(2, '\0') : std::string(1, '\0'));
}

}  // namespace

TSmbiosTable ParseSmbiosTable(std::string_view bytes) {
  TSmbiosTable table;
  table.problem = Walk(bytes, [&table](std::string_view structure, std::size_t formatted) {
    table.structures.emplace_back(std::string(structure.substr(0, formatted)),
                                  Split(structure.substr(formatted)));
  });
  return table;
}

std::string WithoutIdentity(std::string_view table) {
  static constexpr std::string_view kHarmless("\x00\x26\x2D", 3);
  std::string harmless;
  Walk(table, [&harmless](std::string_view structure, std::size_t formatted) {
    if (structure.front() == kSystemInformation) harmless += BlankedSystem(structure, formatted);
    if (kHarmless.find(structure.front()) != std::string_view::npos) harmless += structure;
  });
  return harmless + std::string("\x7F\x04\xFE\xFF\0\0", 6);
}

const TSmbiosStructure* TSmbiosTable::First(std::uint8_t type) const {
  const auto found =
      std::find_if(structures.begin(), structures.end(),
                   [type](const TSmbiosStructure& each) { return each.Type() == type; });
  return found == structures.end() ? nullptr : &*found;
}

std::vector<TFirmwareComponent> TSmbiosTable::FirmwareComponents() const {
  constexpr std::size_t kName = 4, kVersion = 5, kId = 7, kIdFormat = 8, kState = 0x16;
  constexpr std::uint8_t kFreeForm = 0, kAbsent = 5;
  std::vector<TFirmwareComponent> components;
  for (const TSmbiosStructure& structure : structures) {
    if (structure.Type() != kFirmwareInventory || structure.Byte(kState) == kAbsent) continue;
    TFirmwareComponent component{CleanText(structure.Text(kName)),
                                 CleanText(structure.Text(kVersion)), ""};
    if (structure.Byte(kIdFormat) == kFreeForm) component.id = CleanText(structure.Text(kId));
    if (!component.name.empty() && !component.version.empty()) components.push_back(component);
  }
  return components;
}

std::string SmbiosUuid(std::string_view bytes, bool littleEndian) {
  constexpr std::size_t kSize = 16;
  if (bytes.size() != kSize) return {};
  const bool same = bytes.find_first_not_of(bytes.front()) == std::string_view::npos;
  if (same && (bytes.front() == '\0' || bytes.front() == '\xFF')) return {};
  constexpr std::uint8_t kLittle[kSize] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  std::string text;
  for (std::size_t i = 0; i < kSize; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += fmt::format("{:02x}", static_cast<std::uint8_t>(bytes[littleEndian ? kLittle[i] : i]));
  }
  return text;
}

std::optional<TManagementController> ParseDeviceId(std::string_view response) {
  constexpr std::size_t kShortest = 12, kWithAuxiliary = 16;
  const auto byte = [response](std::size_t i) { return static_cast<std::uint8_t>(response[i]); };
  if (response.size() < kShortest || byte(0) != 0) return {};
  TManagementController controller{fmt::format("{}.{:02x}", byte(3) & 0x7FU, byte(4)), ""};
  if (response.size() >= kWithAuxiliary) {
    controller.auxiliary =
        fmt::format("{:02x}{:02x}{:02x}{:02x}", byte(12), byte(13), byte(14), byte(15));
    if (controller.auxiliary == "00000000") controller.auxiliary.clear();
  }
  return controller;
}

}  // namespace svc::collect
