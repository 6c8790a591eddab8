#include "collect/firmware_device.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string>

#include "base/bounded_json.h"
#include "base/error.h"

namespace svc::collect {
namespace {

using TJson = nlohmann::json;

constexpr const char* kSource = "fwupd";
constexpr std::size_t kMostLevels = 16;
constexpr std::size_t kMostValues = 250'000;
constexpr std::size_t kLongestText = 4096;

TJson Parse(std::string_view text) {
  try {
    std::size_t values = 0;
    return TBoundedJson<TJson>({.levels = kMostLevels, .values = kMostValues}, values).Read(text);
  } catch (const TJson::exception&) {
    throw TError("it is no JSON");
  }
}

// Null where there is none.
const TJson& PartOf(const TJson& object, const char* name) {
  static const TJson kNothing;
  const auto found = object.find(name);
  return found == object.end() ? kNothing : *found;
}

std::string TextOf(const TJson& value) {
  if (!value.is_string()) return {};
  const auto& text = value.get_ref<const std::string&>();
  if (text.size() > kLongestText) throw TError("a text is longer than any that a device has");
  return CleanText(text);
}

// A list of texts, or what older clients wrote: one, or several with bars between.
std::vector<std::string> TextsOf(const TJson& value) {
  std::vector<std::string> texts;
  const auto add = [&texts](std::string text) {
    if (text.empty()) return;
    if (texts.size() == kMostClientItems) throw TError("a device has more ids than any has");
    texts.push_back(std::move(text));
  };
  if (value.is_array()) {
    for (const TJson& item : value) add(TextOf(item));
    return texts;
  }
  for (std::string rest = TextOf(value); !rest.empty();) {
    const std::size_t bar = rest.find('|');
    add(rest.substr(0, bar));
    rest.erase(0, bar == std::string::npos ? bar : bar + 1);
  }
  return texts;
}

// Instance ids say more than the GUIDs that are made of them, some of which stand alone.
std::vector<std::string> IdentifiersOf(const TJson& device) {
  std::vector<std::string> identifiers = TextsOf(PartOf(device, "InstanceIds"));
  for (const std::string& text : TextsOf(PartOf(device, "Guid"))) {
    if (std::string guid = Guid(text); !guid.empty()) identifiers.push_back(std::move(guid));
  }
  return identifiers;
}

std::string FormatOf(const TJson& device) {
  std::string format = TextOf(PartOf(device, "VersionFormat"));
  return format == "unknown" ? std::string() : format;
}

TFirmwareDevice DeviceOf(const TJson& told) {
  TFirmwareDevice device{TextOf(PartOf(told, "Name")),
                         TextOf(PartOf(told, "Vendor")),
                         TextOf(PartOf(told, "Version")),
                         FormatOf(told),
                         IdentifiersOf(told),
                         kSource};
  device.vendorIds = TextsOf(PartOf(told, "VendorIds"));
  if (device.vendorIds.empty()) device.vendorIds = TextsOf(PartOf(told, "VendorId"));
  device.branch = TextOf(PartOf(told, "Branch"));
  device.bootloaderVersion = TextOf(PartOf(told, "VersionBootloader"));
  return device;
}

std::string ReasonOf(const std::string& message) {
  return message.empty() ? " and does not say why" : ": " + message;
}

// What the client prints, also where it fails, is an object.
void CheckAnswer(const TJson& answer) {
  if (!answer.is_object()) throw TError("it is no list of devices");
  if (const TJson& error = PartOf(answer, "Error"); error.is_object())
    throw TError("the client failed" + ReasonOf(TextOf(PartOf(error, "Message"))));
  if (!PartOf(answer, "Devices").is_array()) throw TError("it is no list of devices");
}

}  // namespace

std::vector<TFirmwareDevice> ReadClientDevices(std::string_view json) {
  if (json.size() > kMostClientBytes) throw TError("it is larger than any list of devices");
  const TJson answer = Parse(json);
  CheckAnswer(answer);
  const TJson& told = PartOf(answer, "Devices");
  if (told.size() > kMostClientDevices)
    throw TError(fmt::format("it has more than {} devices", kMostClientDevices));
  std::vector<TFirmwareDevice> devices;
  for (const TJson& item : told) {
    if (!item.is_object()) continue;
    TFirmwareDevice device = DeviceOf(item);
    if (!device.identifiers.empty()) devices.push_back(std::move(device));
  }
  return devices;
}

}  // namespace svc::collect
