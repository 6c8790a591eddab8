// The plug-in object, and the choice that it makes: one query pairs the devices of a machine with
// the releases of a catalogue. The object is made when a process loads the library, owned by the
// host from then on, and called on the host's threads, one call at a time.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/plugin.nsp/plugin_callbacks.h"
#include "plugins/public_firmware/catalogue.h"

namespace svc::publicfirmware {

// Why the requirement of a release does not hold for a device whose installed version is this one;
// empty where it holds. A requirement is an element, a comparison, a version and what it is about,
// with blanks between: "firmware ge 1.0.5", "hardware - - GUID|GUID".
std::string WhyNot(std::string_view requirement, const TDevice& device, std::string_view installed,
                   EVersionFormat format, const TMachine& machine);

// What the inventory's version is in the form of the release; none where the two are counted
// otherwise and cannot be compared.
std::optional<std::string> InstalledFor(const TDevice& device, EVersionFormat format);

struct THeldBack {
  std::string version;
  std::string why;
};

struct TChoice {
  std::string installed;
  std::size_t offer = 0;  // The number of the chosen one.
  std::string offered;
  int order = 0;  // Below 0 where the installed version is older than the offered one.
};

struct TAnswer {
  std::optional<TChoice> choice;  // None where no release is for this device as it is.
  // Releases above the installed version that the device cannot get now, the highest first.
  std::vector<THeldBack> heldBack;
  // The versions to install one after another, where one step does not lead to the highest.
  std::vector<std::string> way;
};

TAnswer Choose(const TDevice& device, const TMachine& machine, const std::vector<TOffer>& offers);

// The plug-in object: one query pairs the devices of a machine with the releases of a catalogue.

// Made when a process loads the library, owned by the host from then on. The host calls it on its
// threads, one call at a time. The catalogue that was read last is kept, so that a fleet's machines
// are compared without reading it again; a file that was written since is read anew.
class TPublicFirmware : public NQRXHSK20::IPluginCallbacks,
                        public NQRXHSK20::IPluginAdvancedQueryCallbacks {
 public:
  // Registers the object with the host's plug-in manager. What the host throws passes.
  TPublicFirmware();
  TPublicFirmware(const TPublicFirmware&) = delete;
  TPublicFirmware& operator=(const TPublicFirmware&) = delete;

  int GetInterfaceVersion() override { return 1; }
  std::string GetName() override;
  std::string GetVersion() override { return "1.0"; }
  std::string GetBuildVersion() override { return "1.0"; }
  void Release() override { delete this; }
  void OnHostStarted() override {}
  void OnHostStopping() override {}
  std::string GetQueryLanguage() override { return {}; }

  // A record for each device that a release is for. The context's "svPath" is the folder that holds
  // firmware.xml; a download ("_live_") has none, and nothing is delivered.
  // Throws THSKException: kMissingContextEntry without "svPath", or as the parser of the file does.
  void RunQuery(TNamespaceHandle inventory, void* reserved,
                NQRXHSK20::CIMContext& context) override;

 private:
  // What tells a file from another one, and from itself before it was written again.
  struct TFileState {
    std::string path;
    std::uint64_t size = 0;
    std::filesystem::file_time_type written;
    bool operator==(const TFileState&) const = default;
  };

  const TOfferIndex& OffersIn(const std::string& folder);

  std::unique_ptr<const TOfferIndex> offers;
  TFileState read;
};

inline constexpr unsigned long kReasonProcessAttach = 1;

// Creates the plug-in object. 1 when all is well, 0 when there is no memory. Exceptions of the host
// pass to the caller.
int ProcessAttach(unsigned long reason);

}  // namespace svc::publicfirmware
