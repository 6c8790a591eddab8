// The plug-in object: one query pairs the devices of a machine with the releases of a catalogue.
#ifndef PLUGINS_PUBLIC_FIRMWARE_PUBLIC_FIRMWARE_H_
#define PLUGINS_PUBLIC_FIRMWARE_PUBLIC_FIRMWARE_H_

#include <filesystem>
#include <memory>
#include <string>

#include "host/plugin.nsp/plugin_callbacks.h"
#include "plugins/public_firmware/catalogue.h"
#include "plugins/public_firmware/choice.h"

namespace svc::publicfirmware {

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

#endif  // PLUGINS_PUBLIC_FIRMWARE_PUBLIC_FIRMWARE_H_
