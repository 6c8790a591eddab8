#include "runtime/acquire/manifest.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <cstdio>
#include <locale>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "base/bounded_json.h"
#include "runtime/acquire/download_folder.h"

namespace svc::acquire {

namespace {

using nlohmann::json;

TError Unusable(const std::string& why) {
  return DownloadError(EOutcome::kBadManifest, "the repository's manifest cannot be used: " + why);
}
TError Bad(const std::string& where, const std::string& what) {
  return Unusable(where + " " + what);
}

// One object of the manifest, with the place that messages name.
struct TReader {
  const json& object;
  std::string place;

  const json& Member(const char* name) const {
    const auto found = object.find(name);
    if (found == object.end()) throw Bad(place, std::string("lacks \"") + name + "\"");
    return *found;
  }
  [[noreturn]] void Wrong(const char* name, const std::string& what) const {
    throw Bad(place + ": \"" + name + "\"", what);
  }
  std::uint64_t Unsigned(const char* name) const {
    const json& value = Member(name);
    if (!value.is_number_unsigned()) Wrong(name, "is no whole number from 0 up");
    return value.get<std::uint64_t>();
  }
  std::int32_t Code(const char* name) const {
    const std::uint64_t value = Unsigned(name);
    if (value > INT32_MAX) Wrong(name, "is too large");
    return static_cast<std::int32_t>(value);
  }
  bool Boolean(const char* name) const {
    const json& value = Member(name);
    if (!value.is_boolean()) Wrong(name, "is neither true nor false");
    return value.get<bool>();
  }
  std::string Text(const char* name) const {
    const json& value = Member(name);
    if (!value.is_string()) Wrong(name, "is no text");
    return value.get<std::string>();
  }
  std::vector<std::string> Texts(const char* name) const {
    const json& value = Member(name);
    const auto isText = [](const json& element) { return element.is_string(); };
    if (!value.is_array() || !std::ranges::all_of(value, isText))
      Wrong(name, "is no list of texts");
    return value.get<std::vector<std::string>>();
  }
};

bool IsSha256(std::string_view text) {
  return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

TManifestFile ReadFile(const TReader& reader) {
  TManifestFile file{reader.Text("name"),          reader.Text("path"),
                     reader.Unsigned("size"),      boost::to_lower_copy(reader.Text("sha256")),
                     reader.Texts("machineTypes"), reader.Code("os"),
                     reader.Code("arch"),          reader.Boolean("latest"),
                     reader.Boolean("payload")};
  if (!IsSha256(file.sha256)) reader.Wrong("sha256", "is not 64 hexadecimal digits");
  if (const auto why = WhyUnsafeName(file.name); !why.empty())
    reader.Wrong("name", "is not a plain file name: it " + std::string(why));
  if (const auto why = WhyUnsafePath(file.path); !why.empty())
    reader.Wrong("path", "does not stay below the repository: a part of it " + std::string(why));
  return file;
}

// Enough for any that a later version writes.
constexpr std::size_t kMostLevels = 64;

json ReadJson(std::string_view text, TBoundedJson<json>& parser) {
  json document;
  try {
    document = parser.Read(text);
  } catch (const json::exception&) {
    throw Bad("it", "is no JSON");
  } catch (const TError& error) {
    throw Unusable(error.what());
  }
  if (!document.is_object()) throw Bad("it", "is no object");
  return document;
}

// The schema comes first: of another one nothing else may be expected.
void CheckSchema(const TReader& reader) {
  if (reader.Unsigned("schema") != kManifestSchema)
    reader.Wrong("schema", "is " + reader.Member("schema").dump() +
                               ", this program knows 1; a newer version of it may know more");
}

std::chrono::sys_seconds ReadExpiry(const TReader& reader) {
  try {
    return ParseTime(reader.Text("expires"));
  } catch (const std::invalid_argument& error) {
    reader.Wrong("expires", error.what());
  }
}

constexpr std::string_view kForm = "0000-00-00T00:00:00Z";

bool HasForm(std::string_view text) {
  if (text.size() != kForm.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == '0' ? !isDigit : text[i] != kForm[i]) return false;
  }
  return true;
}

void CheckSize(const TManifestFile& file, const TLimits& limits) {
  const std::uint64_t limit = file.payload ? limits.payload : limits.description;
  if (file.size > limit)
    throw DownloadError(EOutcome::kTooLarge, file.path + " has " + std::to_string(file.size) +
                                                 " bytes, more than the " + std::to_string(limit) +
                                                 " that this program takes");
}

constexpr std::size_t kMaxName = 255;

// "COM" and "LPT" take a digit, plain or raised.
constexpr std::array<std::string_view, 6> kDevices = {"CON", "PRN",    "AUX",
                                                      "NUL", "CONIN$", "CONOUT$"};
constexpr std::array<std::string_view, 2> kPorts = {"COM", "LPT"};
constexpr std::array<std::string_view, 13> kPortDigits = {
    "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"};

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

bool IsPort(std::string_view stem) {
  return std::ranges::any_of(kPorts, [stem](std::string_view port) {
    return boost::istarts_with(stem, port) &&
           std::ranges::count(kPortDigits, stem.substr(port.size())) != 0;
  });
}

// A device keeps its meaning with any extension, and with blanks before it.
bool IsDevice(std::string_view name) {
  std::string_view stem = name.substr(0, name.find('.'));
  while (stem.ends_with(' ')) stem.remove_suffix(1);
  return IsPort(stem) || std::ranges::any_of(kDevices, [stem](std::string_view device) {
           return boost::iequals(stem, device);
         });
}

}  // namespace

// Its files are read one by one: there may be far more of them than of anything else.
TManifest ParseManifest(std::string_view text) {
  std::size_t values = 0;
  TBoundedJson<json> parser({.levels = kMostLevels, .values = ValuesInProportion(text.size())},
                            values);
  std::vector<TManifestFile> files;
  parser.TakeItems(
      "files", [&files] { files.clear(); },
      [&files](const json& file) {
        const std::string place = "file " + std::to_string(files.size() + 1);
        if (!file.is_object()) throw Bad(place, "is no object");
        files.push_back(ReadFile({file, place}));
      });
  const json document = ReadJson(text, parser);
  const TReader reader{document, "it"};
  CheckSchema(reader);
  TManifest manifest{reader.Unsigned("serial"), ReadExpiry(reader), {}};
  if (!reader.Member("files").is_array()) reader.Wrong("files", "is no list");
  parser.CheckItems();
  manifest.files = std::move(files);
  return manifest;
}

bool IsSelected(const TManifestFile& file, const TSelection& selection) {
  const auto isWanted = [&](const std::string& machineType) {
    return std::ranges::count(selection.machineTypes, machineType) != 0;
  };
  return (file.latest || !selection.latestOnly) && (!file.payload || selection.payloads) &&
         std::ranges::count(selection.systems, std::pair(file.os, file.arch)) != 0 &&
         std::ranges::any_of(file.machineTypes, isWanted);
}

std::vector<TManifestFile> Select(const TManifest& manifest, const TSelection& selection) {
  std::vector<TManifestFile> selected;
  std::map<std::string, std::string> hashes;
  for (const TManifestFile& file : manifest.files) {
    if (!IsSelected(file, selection)) continue;
    const auto [known, isNew] = hashes.emplace(boost::to_lower_copy(file.name), file.sha256);
    if (isNew)
      selected.push_back(file);
    else if (known->second != file.sha256)
      throw Bad("two different files", "for this machine have the name " + file.name);
  }
  return selected;
}

std::vector<TManifestFile> SelectDescriptions(const TManifest& manifest,
                                              const std::vector<std::string>& machineTypes) {
  const auto isWanted = [&](const std::string& offered) {
    return std::ranges::any_of(machineTypes, [&](const std::string& asked) {
      return boost::iequals(offered, asked, std::locale::classic());
    });
  };
  std::vector<TManifestFile> selected;
  std::set<std::string> hashes;
  for (const TManifestFile& file : manifest.files) {
    const bool isForThem = machineTypes.empty() || std::ranges::any_of(file.machineTypes, isWanted);
    if (file.payload || !file.latest || !isForThem || !hashes.insert(file.sha256).second) continue;
    selected.push_back(file);
    selected.back().name = file.sha256;
  }
  return selected;
}

std::chrono::sys_seconds ParseTime(std::string_view text) {
  using namespace std::chrono;
  if (!HasForm(text)) throw std::invalid_argument("is not a time in the form 2027-06-30T00:00:00Z");
  const auto number = [text](std::size_t position, std::size_t size) {
    return std::stoi(std::string(text.substr(position, size)));
  };
  const year_month_day date{year(number(0, 4)), month(static_cast<unsigned>(number(5, 2))),
                            day(static_cast<unsigned>(number(8, 2)))};
  const int hour = number(11, 2);
  const int minute = number(14, 2);
  const int second = number(17, 2);
  if (!date.ok() || hour > 23 || minute > 59 || second > 59)
    throw std::invalid_argument("is no time that exists");
  return sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
}

std::string FormatTime(std::chrono::sys_seconds time) {
  using namespace std::chrono;
  const auto midnight = floor<days>(time);
  const year_month_day date(midnight);
  const hh_mm_ss clock(time - midnight);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

TPublicKey ReadPublicKey(const std::string& path) {
  TPlainFile file(path);
  if (!file.IsOpen())
    throw DownloadError(EOutcome::kKeyUnusable,
                        path + ", named as the repository's public key, cannot be read");
  std::string buffer;
  return ParsePublicKey(file.Read(buffer), path + ": ");
}

void CheckManifest(const TManifest& manifest, std::chrono::sys_seconds now, const TLimits& limits) {
  if (manifest.expires <= now)
    throw DownloadError(EOutcome::kExpired, "the repository's manifest was good until " +
                                                FormatTime(manifest.expires) +
                                                "; ask its publisher for a new one, and check this "
                                                "machine's clock");
  for (const TManifestFile& file : manifest.files) CheckSize(file, limits);
}

void CheckSerial(const TManifest& manifest, std::uint64_t last) {
  if (manifest.serial < last)
    throw DownloadError(EOutcome::kRolledBack, "the repository's manifest has serial " +
                                                   std::to_string(manifest.serial) +
                                                   ", but one with serial " + std::to_string(last) +
                                                   " was accepted before; nothing older is taken");
}

std::string_view WhyUnsafeName(std::string_view name) {
  if (name.empty()) return "is empty";
  if (name == "." || name == "..") return "names a folder";
  if (name.size() > kMaxName) return "is longer than 255 bytes";
  if (std::ranges::any_of(name, IsControl)) return "holds a control character";
  if (name.find_first_of("/\\") != std::string_view::npos) return "holds a separator of folders";
  if (name.find_first_of(":*?\"<>|") != std::string_view::npos)
    return "holds a character that Windows gives a meaning of its own";
  if (name.ends_with('.') || name.ends_with(' ')) return "ends with a dot or a blank";
  if (IsDevice(name)) return "names a device of Windows";
  return {};
}

std::string_view WhyUnsafePath(std::string_view path) {
  if (path.size() > 4096) return "is longer than 4096 bytes";
  for (;;) {
    const auto slash = path.find('/');
    const std::string_view why = WhyUnsafeName(path.substr(0, slash));
    if (!why.empty() || slash == std::string_view::npos) return why;
    path.remove_prefix(slash + 1);
  }
}

}  // namespace svc::acquire
