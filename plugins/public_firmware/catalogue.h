// What is read of inventory and catalogue: devices, and the releases that are offered for them.
#ifndef PLUGINS_PUBLIC_FIRMWARE_CATALOGUE_H_
#define PLUGINS_PUBLIC_FIRMWARE_CATALOGUE_H_

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/cim.h"
#include "plugins/public_firmware/identifiers.h"
#include "plugins/public_firmware/versions.h"

namespace svc::publicfirmware {

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

#endif  // PLUGINS_PUBLIC_FIRMWARE_CATALOGUE_H_
