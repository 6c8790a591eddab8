// What devices and machines are known by: GUIDs, and the texts that GUIDs are made of. Pure
// functions; may be called from any thread.
#ifndef PLUGINS_PUBLIC_FIRMWARE_IDENTIFIERS_H_
#define PLUGINS_PUBLIC_FIRMWARE_IDENTIFIERS_H_

#include <boost/uuid/uuid.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace svc::publicfirmware {

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

}  // namespace svc::publicfirmware

#endif  // PLUGINS_PUBLIC_FIRMWARE_IDENTIFIERS_H_
