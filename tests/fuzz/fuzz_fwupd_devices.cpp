// What fwupd's client printed, which anybody may have written: merged into what is known of a
// machine, and read back.
#include <algorithm>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/shown_text.h"
#include "collect/cim_xml.h"
#include "collect/firmware_device.h"
#include "host/hskcore/value.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;
using namespace svc::collect;
using namespace NQRXHSK20;

namespace {

using TTexts = std::vector<std::string>;

constexpr std::size_t kLongestText = 4096;
constexpr std::size_t kMostBytesOfOne = 3;  // U+FFFD stands for a byte.

void CheckLine(std::string_view rest) {
  while (!rest.empty()) {
    const svc::TCodePoint character = svc::FirstCodePoint(rest);
    Require(character.valid && character.value >= ' ', "a text is one clean line");
    rest.remove_prefix(character.size);
  }
}

void CheckText(const std::string& text) {
  Require(text.size() <= kLongestText * kMostBytesOfOne, "a text is bounded");
  CheckLine(text);
}

void CheckDevice(const TFirmwareDevice& device) {
  for (const std::string& text : {device.name, device.vendor, device.version, device.versionFormat,
                                  device.branch, device.bootloaderVersion}) {
    CheckText(text);
  }
  for (const TTexts& texts : {device.identifiers, device.vendorIds}) {
    Require(texts.size() <= 2 * kMostClientItems, "a list is bounded");
    for (const std::string& text : texts) {
      Require(!text.empty(), "a list has no empty text");
      CheckText(text);
    }
  }
  Require(!device.identifiers.empty(), "a device has an identifier");
  Require(device.source == "fwupd", "a device says who told of it");
}

// One that the machine told of itself, and one that another tells alike.
TInventory Machine() {
  TInventory inventory;
  inventory.Add(TInstance("QRXSG_ComputerSystem").Set("MachineType", "4620"));
  AddDevice({"Dock",
             "Example",
             "1.2",
             "triplet",
             {"1a6daa47-6506-55db-8eaa-d25b1b4b1e4b", "USB\\VID_17EF&PID_A396"},
             "esrt"},
            inventory);
  AddDevice({"Other", "", "", "", {"USB\\VID_17EF&PID_A396"}, "esrt"}, inventory);
  return inventory;
}

std::size_t CountDevices(const TInventory& inventory) {
  return static_cast<std::size_t>(
      std::ranges::count(inventory.Instances(), kFirmwareDevice, &TInstance::ClassName));
}

void CheckReadBack(const TProperty& property, const ICIMInstance& instance) {
  boost::shared_ptr<ICIMProperty> found;
  instance.GetProperty(found, property.name, {});
  const TCIMValue& value = found->Value({});
  if (property.elements.empty()) {
    Require(!value.IsArray() && value.ToString(10) == property.value, "a text is read as told");
    return;
  }
  TTexts elements;
  for (const TCIMValue& one : static_cast<const std::vector<TCIMValue>&>(value))
    elements.push_back(one.ToString(10));
  Require(elements == property.elements, "a list is read as told");
}

void CheckReadBack(const TInventory& inventory) {
  const auto machine = NewNamespace();
  svc::DeclareBuiltinClasses(machine);
  Require(ParseDocument(machine, ToCimXml(inventory.Instances()), false), "it can be loaded");
  boost::shared_ptr<ICIMClass> devices;
  machine->GetClass(devices, kFirmwareDevice, {});
  std::vector<boost::shared_ptr<ICIMInstance>> read;
  devices->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(read), true, {});
  Require(read.size() == CountDevices(inventory), "each device is read back");
  auto next = read.begin();
  for (const TInstance& told : inventory.Instances()) {
    if (told.ClassName() != kFirmwareDevice) continue;
    for (const TProperty& property : told.Properties()) CheckReadBack(property, **next);
    ++next;
  }
}

void CheckDevices(const std::vector<TFirmwareDevice>& devices) {
  Require(devices.size() <= kMostClientDevices, "devices are bounded");
  for (const TFirmwareDevice& device : devices) CheckDevice(device);
  TInventory alone;
  MergeDevices(devices, alone);
  Require(alone.Instances().size() == devices.size(), "alone each is a device of its own");
  CheckReadBack(alone);
  TInventory merged = Machine();
  const std::size_t before = CountDevices(merged);
  MergeDevices(devices, merged);
  const std::size_t after = CountDevices(merged);
  Require(after >= std::max(before, devices.size()), "nothing is lost");
  Require(after <= before + devices.size(), "nothing is made up");
  CheckReadBack(merged);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<TFirmwareDevice> devices;
  try {
    devices = ReadClientDevices(AsText(data, size));
  } catch (const svc::TError& error) {
    const std::string why = error.what();
    Require(!why.empty() && !why.ends_with(": "), "what is refused says why");
    CheckLine(why);
    return 0;
  }
  CheckDevices(devices);
  return 0;
}
