// GUIDs of devices, and the hardware ids of a machine.
#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>
#include <charconv>
#include <cstdint>
#include <limits>

#include "plugins/public_firmware/catalogue.h"

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

// The order of versions of firmware, by the format that a maker names.

namespace {

struct TFormatName {
  EVersionFormat format;
  std::string_view name;
};
constexpr std::array kFormats = {TFormatName{EVersionFormat::kUnknown, ""},
                                 TFormatName{EVersionFormat::kPlain, "plain"},
                                 TFormatName{EVersionFormat::kNumber, "number"},
                                 TFormatName{EVersionFormat::kPair, "pair"},
                                 TFormatName{EVersionFormat::kTriplet, "triplet"},
                                 TFormatName{EVersionFormat::kQuad, "quad"},
                                 TFormatName{EVersionFormat::kBcd, "bcd"},
                                 TFormatName{EVersionFormat::kIntelMe, "intel-me"},
                                 TFormatName{EVersionFormat::kIntelMe2, "intel-me2"},
                                 TFormatName{EVersionFormat::kIntelCsme19, "intel-csme19"},
                                 TFormatName{EVersionFormat::kSurface, "surface"},
                                 TFormatName{EVersionFormat::kSurfaceLegacy, "surface-legacy"},
                                 TFormatName{EVersionFormat::kDellBios, "dell-bios"},
                                 TFormatName{EVersionFormat::kDellBiosMsb, "dell-bios-msb"},
                                 TFormatName{EVersionFormat::kHex, "hex"}};

// The bits of a number that are one part of a version: so many from a place on, and what is added.
struct TPart {
  unsigned place;
  unsigned bits;
  unsigned added = 0;
  bool isBcd = false;
};
struct TForm {
  EVersionFormat format;
  std::array<TPart, 4> parts;
  std::size_t count;
};
constexpr std::array kForms = {
    TForm{EVersionFormat::kPair, {{{16, 16}, {0, 16}}}, 2},
    TForm{EVersionFormat::kTriplet, {{{24, 8}, {16, 8}, {0, 16}}}, 3},
    TForm{EVersionFormat::kQuad, {{{24, 8}, {16, 8}, {8, 8}, {0, 8}}}, 4},
    TForm{EVersionFormat::kBcd,
          {{{24, 8, 0, true}, {16, 8, 0, true}, {8, 8, 0, true}, {0, 8, 0, true}}},
          4},
    TForm{EVersionFormat::kIntelMe, {{{29, 3, 11}, {24, 5}, {16, 8}, {0, 16}}}, 4},
    TForm{EVersionFormat::kIntelMe2, {{{28, 4}, {24, 4}, {16, 8}, {0, 16}}}, 4},
    TForm{EVersionFormat::kIntelCsme19, {{{29, 3, 19}, {24, 5}, {16, 8}, {0, 16}}}, 4},
    TForm{EVersionFormat::kSurface, {{{24, 8}, {8, 16}, {0, 8}}}, 3},
    TForm{EVersionFormat::kSurfaceLegacy, {{{22, 10}, {10, 12}, {0, 10}}}, 3},
    TForm{EVersionFormat::kDellBios, {{{16, 8}, {8, 8}, {0, 8}}}, 3},
    TForm{EVersionFormat::kDellBiosMsb, {{{24, 8}, {16, 8}, {8, 8}}}, 3}};

std::uint32_t ValueOf(const TPart& part, std::uint32_t number) {
  const std::uint32_t bits = number >> part.place & ((std::uint32_t{1} << part.bits) - 1);
  return part.isBcd ? (bits >> 4) * 10 + (bits & 0xF) : bits + part.added;
}

std::string Hexadecimal(std::uint32_t number) {
  std::string text = "0x";
  for (int place = 28; place >= 0; place -= 4) text += "0123456789abcdef"[number >> place & 0xF];
  return text;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// What a part of a version begins with, and what follows it. A number beyond the range counts as
// the range's end.
std::int64_t TakeNumber(std::string_view& text) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  std::string_view rest = text;
  rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
  const bool isNegative = rest.starts_with('-');
  if (isNegative || rest.starts_with('+')) rest.remove_prefix(1);
  if (rest.empty() || !IsDigit(rest.front())) return 0;
  const auto* const end = std::find_if_not(rest.begin(), rest.end(), IsDigit);
  std::int64_t value = 0;
  if (std::from_chars(rest.data(), end, value).ec == std::errc::result_out_of_range) {
    value = std::numeric_limits<std::int64_t>::max();
  }
  text = rest.substr(static_cast<std::size_t>(end - rest.begin()));
  return isNegative ? -value : value;
}

// The end of a text is a character of its own, before all others but "~". Bytes beyond ASCII come
// before those within, as signed characters do.
int CompareCharacters(signed char first, signed char second) {
  if (first == second) return 0;
  if (first == '~') return -1;
  if (second == '~') return 1;
  return first < second ? -1 : 1;
}

int CompareTexts(std::string_view first, std::string_view second) {
  const auto at = [](std::string_view text, std::size_t place) {
    return place < text.size() ? static_cast<signed char>(text[place])
                               : static_cast<signed char>(0);
  };
  const std::size_t most = std::min(first.size(), second.size());
  for (std::size_t i = 0; i <= most; ++i) {
    const int order = CompareCharacters(at(first, i), at(second, i));
    if (order != 0) return order;
  }
  return 0;
}

int CompareParts(std::string_view first, std::string_view second) {
  const std::int64_t firstNumber = TakeNumber(first);
  const std::int64_t secondNumber = TakeNumber(second);
  if (firstNumber != secondNumber) return firstNumber < secondNumber ? -1 : 1;
  return CompareTexts(first, second);
}

// The parts of a dotted version, one after another; an empty text has none.
class TParts {
 public:
  explicit TParts(std::string_view text) : text(text), isAtEnd(text.empty()) {}
  bool IsAtEnd() const { return isAtEnd; }
  std::string_view Take() {
    const std::size_t dot = text.find('.');
    const std::string_view part = text.substr(0, dot);
    isAtEnd = dot == std::string_view::npos;
    if (!isAtEnd) text.remove_prefix(dot + 1);
    return part;
  }

 private:
  std::string_view text;
  bool isAtEnd;
};

int CompareDotted(std::string_view first, std::string_view second) {
  TParts firstParts(first);
  TParts secondParts(second);
  while (!firstParts.IsAtEnd() && !secondParts.IsAtEnd()) {
    const int order = CompareParts(firstParts.Take(), secondParts.Take());
    if (order != 0) return order;
  }
  if (firstParts.IsAtEnd() && secondParts.IsAtEnd()) return 0;
  return firstParts.IsAtEnd() ? -1 : 1;
}

// Eight digits that begin with 20 are a date.
std::string HexOf(std::string_view version) {
  constexpr std::size_t kDate = 8;
  const bool isDate = version.size() == kDate && version.starts_with("20");
  const auto number = NumberOf(version);
  return isDate || !number || *number == 0 ? std::string(version) : Hexadecimal(*number);
}

}  // namespace

EVersionFormat FormatOfName(std::string_view name) noexcept {
  const auto* const found = std::find_if(kFormats.begin(), kFormats.end(),
                                         [&](const auto& row) { return row.name == name; });
  return found == kFormats.end() ? EVersionFormat::kUnknown : found->format;
}

std::string_view NameOf(EVersionFormat format) noexcept {
  return kFormats[static_cast<std::size_t>(format)].name;
}

int CompareVersions(std::string_view first, std::string_view second, EVersionFormat format) {
  if (first == second) return 0;
  if (format == EVersionFormat::kPlain) return first < second ? -1 : 1;
  if (format == EVersionFormat::kHex) return CompareDotted(HexOf(first), HexOf(second));
  return CompareDotted(first, second);
}

std::optional<std::uint32_t> NumberOf(std::string_view text) noexcept {
  const bool isHexadecimal = text.starts_with("0x");
  if (isHexadecimal) text.remove_prefix(2);
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number, isHexadecimal ? 16 : 10);
  if (text.empty() || read.ec != std::errc() || read.ptr != end) return {};
  return number;
}

std::optional<std::string> VersionOfNumber(std::uint32_t number, EVersionFormat format) {
  if (format == EVersionFormat::kHex) return Hexadecimal(number);
  if (format == EVersionFormat::kNumber || format == EVersionFormat::kPlain) {
    return std::to_string(number);
  }
  const auto* const form = std::find_if(kForms.begin(), kForms.end(),
                                        [&](const auto& row) { return row.format == format; });
  if (form == kForms.end()) return {};
  std::string text;
  for (std::size_t i = 0; i < form->count; ++i) {
    text += (i == 0 ? "" : ".") + std::to_string(ValueOf(form->parts[i], number));
  }
  return text;
}

}  // namespace svc::publicfirmware
