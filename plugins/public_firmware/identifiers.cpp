// GUIDs of devices, and the hardware ids of a machine.
#include "plugins/public_firmware/catalogue.h"

#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>
#include <cstdint>

namespace svc::publicfirmware {

namespace {

// The value of each character as a hexadecimal digit; -1 for what is none. A catalogue has 60,000
// identifiers, and comparing took a seventh of its time.
constexpr auto kDigits = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (int i = 0; i < 10; ++i) values['0' + i] = static_cast<std::int8_t>(i);
  for (int i = 0; i < 6; ++i) {
    values['a' + i] = values['A' + i] = static_cast<std::int8_t>(10 + i);
  }
  return values;
}();
int DigitOf(char c) noexcept { return kDigits[static_cast<unsigned char>(c)]; }

// The bytes of a text in UTF-16, the lower one first. What is no UTF-8 stands for itself, byte by
// byte: an id of it matches nothing.
std::string Utf16Of(std::string_view text) {
  std::string bytes;
  const auto add = [&bytes](std::uint32_t unit) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  };
  for (std::size_t i = 0; i < text.size();) {
    const auto first = static_cast<std::uint8_t>(text[i]);
    const std::size_t length = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    std::uint32_t code = length == 1 ? first : first & (0xFFU >> (length + 1));
    if (length > text.size() - i) return bytes;
    for (std::size_t k = 1; k < length; ++k) {
      code = code << 6 | (static_cast<std::uint8_t>(text[i + k]) & 0x3FU);
    }
    i += length;
    if (code < 0x10000) {
      add(code);
    } else {
      add(0xD800 + ((code - 0x10000) >> 10 & 0x3FF));
      add(0xDC00 + (code & 0x3FF));
    }
  }
  return bytes;
}

// The hardware ids of the public scheme, by the fields that each joins.
using TField = std::string TMachineFields::*;
constexpr TField kMaker = &TMachineFields::manufacturer;
constexpr TField kFamily = &TMachineFields::family;
constexpr TField kProduct = &TMachineFields::product;
constexpr TField kSku = &TMachineFields::sku;
constexpr TField kBoardMaker = &TMachineFields::boardManufacturer;
constexpr TField kBoard = &TMachineFields::board;
constexpr TField kBiosMaker = &TMachineFields::biosVendor;
constexpr TField kBios = &TMachineFields::biosVersion;
constexpr TField kMajor = &TMachineFields::biosMajor;
constexpr TField kMinor = &TMachineFields::biosMinor;
constexpr TField kEnclosure = &TMachineFields::enclosure;
constexpr std::size_t kMostFields = 8;
constexpr std::array<std::array<TField, kMostFields>, 18> kHardwareIds = {{
    {kMaker, kFamily, kProduct, kSku, kBiosMaker, kBios, kMajor, kMinor},
    {kMaker, kFamily, kProduct, kBiosMaker, kBios, kMajor, kMinor},
    {kMaker, kProduct, kBiosMaker, kBios, kMajor, kMinor},
    {kMaker, kFamily, kProduct, kSku, kBoardMaker, kBoard},
    {kMaker, kFamily, kProduct, kSku},
    {kMaker, kFamily, kProduct},
    {kMaker, kSku, kBoardMaker, kBoard},
    {kMaker, kSku},
    {kMaker, kProduct, kBoardMaker, kBoard},
    {kMaker, kProduct},
    {kMaker, kFamily, kBoardMaker, kBoard},
    {kMaker, kFamily},
    {kMaker, kEnclosure},
    {kMaker, kBoardMaker, kBoard},
    {kMaker},
    {kMaker, kFamily, kProduct, kSku, kBiosMaker},
    {kMaker, kFamily, kProduct, kBiosMaker},
    {kMaker, kBiosMaker},
}};

// A field without the zeros before it, as fwupd takes it from SMBIOS.
std::string_view Significant(std::string_view field) {
  field.remove_prefix(std::min(field.find_first_not_of('0'), field.size()));
  return field;
}

// Empty where a field is not known.
std::string JoinedFields(const TMachineFields& fields,
                         const std::array<TField, kMostFields>& wanted) {
  std::string text;
  for (const TField field : wanted) {
    if (field == nullptr) break;
    if ((fields.*field).empty()) return {};
    if (field != wanted.front()) text += '&';
    // The numbers of a release have two digits each.
    text += field == kMajor || field == kMinor ? fields.*field : Significant(fields.*field);
  }
  return text;
}

// 70ffd812-4c7f-4c7d-0000-000000000000
constexpr TGuid kHardwareNamespace = {
    {0x70, 0xff, 0xd8, 0x12, 0x4c, 0x7f, 0x4c, 0x7d, 0, 0, 0, 0, 0, 0, 0, 0}};

}  // namespace

std::optional<TGuid> GuidOfText(std::string_view text) noexcept {
  constexpr std::size_t kLength = 36;
  if (text.size() != kLength) return {};
  if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') return {};
  // Where the two digits of each byte begin.
  constexpr std::array<std::uint8_t, 16> kPlaces = {0,  2,  4,  6,  9,  11, 14, 16,
                                                    19, 21, 24, 26, 28, 30, 32, 34};
  TGuid guid{};
  for (std::size_t i = 0; i < kPlaces.size(); ++i) {
    const int high = DigitOf(text[kPlaces[i]]);
    const int low = DigitOf(text[kPlaces[i] + 1U]);
    if ((high | low) < 0) return {};
    guid.data[i] = static_cast<std::uint8_t>(high << 4 | low);
  }
  return guid;
}

TGuid GuidOf(std::string_view identifier) {
  if (const auto guid = GuidOfText(identifier)) return *guid;
  boost::uuids::name_generator_sha1 generator(boost::uuids::ns::dns());
  return generator(identifier.data(), identifier.size());
}

std::vector<std::string> VendorsOf(std::string_view identifier) {
  constexpr std::size_t kDigits = 4;
  const std::size_t separator = identifier.find('\\');
  if (separator == std::string_view::npos) return {};
  const std::string bus(identifier.substr(0, separator));
  const std::string_view vendor = identifier.substr(separator + 1);
  if (!vendor.starts_with("VEN_") && !vendor.starts_with("VID_")) return {};
  const std::string number(vendor.substr(kDigits, vendor.find('&', kDigits) - kDigits));
  if (number.size() != kDigits) return {};
  std::vector<std::string> vendors = {bus + ":0x" + number};
  if (bus == "NVME") vendors.push_back("PCI:0x" + number);
  return vendors;
}

std::vector<TGuid> HardwareIdsOf(const TMachineFields& fields) {
  std::vector<TGuid> ids;
  for (const auto& wanted : kHardwareIds) {
    const std::string joined = JoinedFields(fields, wanted);
    if (joined.empty()) continue;
    const std::string bytes = Utf16Of(joined);
    boost::uuids::name_generator_sha1 generator(kHardwareNamespace);
    ids.push_back(generator(bytes.data(), bytes.size()));
  }
  return ids;
}

}  // namespace svc::publicfirmware
