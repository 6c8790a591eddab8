// Downloading the catalogue for this machine and operating system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/acquire/download_manager.h"
#include "host/plugin.nsp/plugin_callbacks.h"
#include "plugins/version_checker/inventory/inventory_operations.h"

namespace svc::checker {

// Keeps track of a download from the messages that the acquisition library sends. Shows and logs
// nothing: the lines that it composes are dropped. Called by the library, one call at a time; owned
// by the query, which lends it for the length of one download.
class OITAcquireCallback : public KPLAcquistion::AcquireCallbackIfc {
 public:
  // `text` is a list of fields joined by ":". A message with fewer fields than its kind needs
  // changes nothing, or no more than its kind resets.
  void onStatus(std::int32_t kind, const std::string& text, std::int32_t code) override;

  const std::string& GetCurrentItem() const { return currentItem; }
  bool IsItemActive() const { return itemActive; }
  const std::string& GetCurrentReport() const { return currentReport; }
  bool IsReportActive() const { return reportActive; }
  std::int32_t GetTotalItems() const { return totalItems; }
  std::int32_t GetStartedItems() const { return startedItems; }
  std::int32_t GetLastCode() const { return lastCode; }

 private:
  struct TMessage;
  struct TKindRow;
  static const TKindRow kKinds[];

  void OnItemStarted(const TMessage& message);
  void OnItemNamed(const TMessage& message);
  void OnItemEnded(const TMessage& message);
  void OnListing(const TMessage& message);
  void OnTotal(const TMessage& message);
  void OnStatusCode(const TMessage& message);
  void OnReport(const TMessage& message);
  void OnReportTotal(const TMessage& message);
  void OnReportItem(const TMessage& message);

  std::string currentItem;
  bool itemActive = false;
  std::string currentReport;
  bool reportActive = false;
  std::int32_t totalItems = 0;
  std::int32_t startedItems = 0;
  std::int32_t lastCode = 0;
};

// The lines of the progress, composed in these words and dropped: nobody sees them.
// Deliberate: see "Progress lines are composed and dropped" in docs/one-query.md.
std::string ProgressPrefix(std::int32_t startedItems, std::int32_t totalItems);
std::string ListingLine(const std::string& machineType, const std::string& operatingSystem);
std::string ReportLine(const std::string& machineType, const std::string& operatingSystem);

// One live download; kept until the query ends. Borrows what it is made from, but for the handle.
// On the thread of the query.
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
