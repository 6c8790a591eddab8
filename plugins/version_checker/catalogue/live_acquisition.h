// Downloading the catalogue for this machine and operating system.
#ifndef PLUGINS_VERSION_CHECKER_CATALOGUE_LIVE_ACQUISITION_H_
#define PLUGINS_VERSION_CHECKER_CATALOGUE_LIVE_ACQUISITION_H_

#include <optional>
#include <string>

#include "host/acquire/download_manager.h"
#include "host/plugin.nsp/plugin_callbacks.h"
#include "plugins/version_checker/catalogue/acquire_callback.h"
#include "plugins/version_checker/inventory/inventory_operations.h"

namespace svc::checker {

// One live download; kept until the query ends.
class TLiveAcquisition {
 public:
  TLiveAcquisition(NQRXHSK20::IPluginCallbacks& plugin, const NQRXHSK20::CIMContext& context,
                   const std::string& machineType, const TNamespaceHandle& catalogue);

  // Downloads and loads the catalogue, and reduces `osType` to the family that the rest of the
  // query works with. False when the query is to end: why has been logged and told.
  // Throws THSKException where it names no outcome of its own.
  bool Run(std::string& osType);

 private:
  bool Download(KPLAcquistion::OSTypeEnum system, KPLAcquistion::ArchTypeEnum architecture);
  void SetProxy();
  bool LoadFiles(const std::string& family);

  NQRXHSK20::IPluginCallbacks& plugin;
  const NQRXHSK20::CIMContext& context;
  const std::string& machineType;
  TNamespaceHandle catalogue;
  std::optional<KPLAcquistion::DownloadManager> manager;  // Made when the download begins.
  OITAcquireCallback callback;
};

// The proxy that a query names for its download: reads "{ host, port, user, password }", the text
// of a value with four elements. Nothing when a part is missing; a port that is no number is 0.
std::optional<KPLAcquistion::HTTPProxyInfo> ParseProxy(const std::string& text);

}  // namespace svc::checker

#endif  // PLUGINS_VERSION_CHECKER_CATALOGUE_LIVE_ACQUISITION_H_
