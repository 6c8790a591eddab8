#include "runtime/acquire/manifest.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <map>
#include <nlohmann/json.hpp>

#include "runtime/acquire/outcome.h"
#include "runtime/acquire/safe_name.h"

namespace svc::acquire {
namespace {

using nlohmann::json;

TFailure Bad(const std::string& where, const std::string& what) {
  return {EOutcome::kBadManifest,
          "the repository's manifest cannot be used: " + where + " " + what};
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

json ReadJson(std::string_view text) {
  json document = json::parse(text, nullptr, false);
  if (document.is_discarded()) throw Bad("it", "is no JSON");
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

}  // namespace

TManifest ParseManifest(std::string_view text) {
  const json document = ReadJson(text);
  const TReader reader{document, "it"};
  CheckSchema(reader);
  TManifest manifest{reader.Unsigned("serial"), ReadExpiry(reader), {}};
  const json& files = reader.Member("files");
  if (!files.is_array()) reader.Wrong("files", "is no list");
  for (const json& file : files) {
    const std::string place = "file " + std::to_string(manifest.files.size() + 1);
    if (!file.is_object()) throw Bad(place, "is no object");
    manifest.files.push_back(ReadFile({file, place}));
  }
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

}  // namespace svc::acquire
