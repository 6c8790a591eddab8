// What is read of inventory and catalogue: devices, the releases that are offered for them, the
// identifiers by which these find each other, and how versions are counted.
#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/uuid/uuid.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/cim.h"

namespace svc::publicfirmware {

// --- Identifiers: GUIDs, and the texts that GUIDs are made of ---
// Pure functions; may be called from any thread.

using TGuid = boost::uuids::uuid;

// 8-4-4-4-12 hexadecimal digits of either case, and nothing around them; none otherwise.
std::optional<TGuid> GuidOfText(std::string_view text) noexcept;

// What an identifier of a device stands for: a GUID itself, or the version 5 UUID (RFC 9562) of an
// instance id such as "NVME\VEN_144D&DEV_A808" in the namespace of domain names.
TGuid GuidOf(std::string_view identifier);

// The vendor that an instance id names, as releases name it: "USB:0x273F" of
// "USB\VID_273F&PID_1004". NVMe devices are known by their vendor's number for PCI as well. None
// for what is no such id.
std::vector<std::string> VendorsOf(std::string_view identifier);

// The fields of SMBIOS that the hardware ids of a machine are made of. What is empty is not known,
// and the ids that need it are left out.
struct TMachineFields {
  std::string manufacturer, family, product, sku, boardManufacturer, board;
  std::string biosVendor = {}, biosVersion = {};
  std::string biosMajor = {}, biosMinor = {};  // Two hexadecimal digits each.
  std::string enclosure = {};                  // A hexadecimal number.
};
std::vector<TGuid> HardwareIdsOf(const TMachineFields& fields);

// --- Versions of firmware as their makers count them ---
// Pure functions; may be called from any thread.
//
// Order and forms are those of fwupd's version formats: whoever installs what is offered here does
// it with that client, and the two must not disagree on what is newer.

enum class EVersionFormat : std::uint8_t {
  kUnknown,  // None is named, or one that is not known: compared part by part.
  kPlain,
  kNumber,
  kPair,
  kTriplet,
  kQuad,
  kBcd,
  kIntelMe,
  kIntelMe2,
  kIntelCsme19,
  kSurface,
  kSurfaceLegacy,
  kDellBios,
  kDellBiosMsb,
  kHex
};

EVersionFormat FormatOfName(std::string_view name) noexcept;
std::string_view NameOf(EVersionFormat format) noexcept;

// Below 0, 0 or above 0, as the first is older than, the same as or newer than the second. "~"
// comes before the end of a text: 1.0~rc1 is older than 1.0.
int CompareVersions(std::string_view first, std::string_view second, EVersionFormat format);

// A whole text that is a number of 32 bits, in decimal digits or written with "0x"; none otherwise.
std::optional<std::uint32_t> NumberOf(std::string_view text) noexcept;

// A number as the format shows it: 16909060 is 1.2.772 as a triplet. None where the format does not
// say how.
std::optional<std::string> VersionOfNumber(std::uint32_t number, EVersionFormat format);

// --- Devices, and the releases that are offered for them ---

using TNamespaceHandle = boost::shared_ptr<NQRXHSK20::ICIMNamespace>;
using TInstanceHandle = boost::shared_ptr<NQRXHSK20::ICIMInstance>;

// The file of a catalogue's folder that holds the releases.
inline constexpr const char* kOfferFile = "firmware.xml";

// A property as text; empty where the instance has none, or null.
std::string TextOf(const TInstanceHandle& instance, std::string_view property);

// Something of the machine that bears firmware.
struct TDevice {
  std::string name;
  std::string version;
  // As the inventory names it: a version of "number" or "hex" is what the device counts with, and
  // is shown in the form that a release has.
  std::string format;
  std::vector<TGuid> guids;
  std::vector<std::string> vendors;  // Sorted.
  std::string branch = {};
  std::string bootloaderVersion = {};  // Empty where it is not known.
};

// Everything of a machine that a release may ask for.
struct TMachine {
  TMachine(std::vector<TDevice> itsDevices, std::vector<TGuid> itsIds);
  // The first that is known by the GUID; null where none is.
  const TDevice* DeviceOf(const TGuid& guid) const;

  std::vector<TDevice> devices;
  std::vector<TGuid> hardwareIds;                         // Sorted.
  std::vector<std::pair<TGuid, std::uint32_t>> byDevice;  // Numbers of devices. Sorted.
};

// Throws THSKException, and std::length_error where the devices are more than any machine has.
TMachine ReadMachine(const TNamespaceHandle& inventory);

// A release, read whole when a device asks for it.
struct TOffer {
  explicit TOffer(TInstanceHandle offer);
  // Bytes in memory.
  std::size_t Size() const;

  TInstanceHandle instance;
  std::string version;
  EVersionFormat format = EVersionFormat::kUnknown;
  std::string branch;
  std::vector<std::string> requirements;
};

// The releases of a catalogue by the GUIDs of what they are for. Never changes; used by one thread.
class TOfferIndex {
 public:
  // Reads the file of the folder. Throws THSKException, whose text names file and line.
  explicit TOfferIndex(const std::string& path);

  std::size_t Count() const noexcept { return offers.size(); }
  // Those for any of the GUIDs, each once, in the order of the catalogue. Throws THSKException
  // where defaults of classes make far more of the file than it holds.
  std::vector<TOffer> For(const std::vector<TGuid>& guids) const;

 private:
  [[noreturn]] void RefuseDefaults() const;

  std::string file;
  std::uint64_t size = 0;  // Of the file.
  std::vector<TInstanceHandle> offers;
  std::vector<std::pair<TGuid, std::uint32_t>> byGuid;  // Sorted.
};

}  // namespace svc::publicfirmware
