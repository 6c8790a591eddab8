#include "plugins/version_checker/catalogue/live_acquisition.h"

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string_view>

#include "host/hskcore/os_specific.h"
#include "plugins/version_checker/catalogue/catalogue_loader.h"
#include "rules/log_texts.h"
#include "rules/names.h"
#include "rules/system_codes.h"

using namespace NQRXHSK20;
using KPLAcquistion::ArchTypeEnum;
using KPLAcquistion::OSTypeEnum;

namespace svc::checker {

// An index that an earlier release left behind; it must not be mistaken for this download's.
constexpr const char* kStaleIndex =
    "C:\\QRX_Support\\qrx_utl_svsp_a3sp09a-1.21_windows_32-64.xml\\hsk_sv_index.xml";

static bool EndQuery(std::string_view warning) {
  PrintMessage(warning);
  return false;
}

TLiveAcquisition::TLiveAcquisition(IPluginCallbacks& plugin, const CIMContext& context,
                                   const std::string& machineType,
                                   const TNamespaceHandle& catalogue)
    : plugin(plugin), context(context), machineType(machineType), catalogue(catalogue) {}

bool TLiveAcquisition::Run(std::string& osType) {
  // Deliberate: see "A removal may fail unseen" in docs/one-query.md.
  RemoveFile(kStaleIndex);
  const rules::TSystemCode* const row = rules::FindSystem(osType);
  if (row == nullptr) {
    LogJoined(kLogError, {rules::kIncorrectSystem, osType});
    return EndQuery("     Warning: Incorrect OS type - SV comparison will not be available");
  }
  // Deliberate: see "A family takes the place of the code" in docs/one-query.md.
  osType = row->family;
  // The numbers of the codes are those that a download manager is asked with.
  return Download(static_cast<OSTypeEnum>(row->os), static_cast<ArchTypeEnum>(row->arch)) &&
         LoadFiles(osType);
}

bool TLiveAcquisition::Download(OSTypeEnum system, ArchTypeEnum architecture) {
  LogProgress("Starting kPL.");
  manager.emplace();
  manager->setDownloadPath(rules::kDownloadFolder);
  SetProxy();
  manager->setMachineTypes({machineType});
  manager->setOperatingSystems({{system, architecture}});
  manager->setIncludeData(false);
  manager->setIsLatest(true);
  LogProgress("start downloading.");
  const int result = manager->startDownload(callback);
  if (result != 0) {
    LogJoined(kLogProgress, {rules::kDownloadFailed, std::to_string(result)});
    LogProgress(rules::kNoDownload);
    return EndQuery("     Warning: Cannot reach server - SV comparison will not be available");
  }
  LogProgress("ending kPL.");
  return true;
}

void TLiveAcquisition::SetProxy() {
  const auto entry = context.find(rules::kProxyEntry);
  if (entry == context.end()) return;
  if (const auto proxy = ParseProxy(entry->second.ToString(10))) manager->setProxy(*proxy);
}

bool TLiveAcquisition::LoadFiles(const std::string& family) {
  const std::vector<std::string> names = TOSSpecific::ListDir(rules::kDownloadFolder);
  if (names.empty()) {
    LogProgress(rules::kNoDownload);
    return EndQuery(
        "     Warning: No update information found - SV comparison will not be available");
  }
  const std::string header = TCatalogueOperations::GetPluginDirectory(plugin) +
                             TOSSpecific::kFileSeparator + "sv\\header.xml";
  try {
    TCatalogueOperations::LoadCatalogueFile(header, catalogue);
    LoadDownloadedFiles(names, family, catalogue);
  } catch (const THSKException& exception) {
    ReportIndexFailure(exception);
    return false;
  }
  return true;
}

// The length of "{ ", and of a comma with the blank behind it.
// Deliberate: see "The character behind a comma is skipped" in docs/one-query.md.
constexpr std::size_t kSeparatorLength = 2;

// Takes the text from `position` to the separator, and moves behind that; false when the
// separator is missing.
static bool TakePart(const std::string& text, std::size_t& position, const char* separator,
                     std::string& part) {
  const std::size_t end = text.find(separator, position);
  if (end == std::string::npos) return false;
  part = text.substr(position, end - position);
  position = end + kSeparatorLength;
  return true;
}

std::optional<KPLAcquistion::HTTPProxyInfo> ParseProxy(const std::string& text) {
  KPLAcquistion::HTTPProxyInfo proxy;
  std::string port;
  std::size_t position = text.find("{ ");
  if (position == std::string::npos) return std::nullopt;
  position += kSeparatorLength;
  if (!TakePart(text, position, ",", proxy.host) || !TakePart(text, position, ",", port) ||
      !TakePart(text, position, ",", proxy.user) ||
      !TakePart(text, position, " }", proxy.password)) {
    return std::nullopt;
  }
  std::istringstream(port) >> proxy.port;
  proxy.enabled = true;
  return proxy;
}

// --- What the callback makes of messages ---

constexpr std::int32_t kInterimCode = 3;  // Told while a download goes on: never its outcome.

static std::string ShownSystem(const std::string& operatingSystem) {
  return operatingSystem.find("Windows") == std::string::npos ? operatingSystem : "Windows";
}

static std::string StageLine(const char* stage, const std::string& machineType,
                             const std::string& operatingSystem) {
  return std::string("\n") + stage + " for Machine-Type=" + machineType + " OS=\"" +
         ShownSystem(operatingSystem) + "\"";
}

std::string ProgressPrefix(std::int32_t startedItems, std::int32_t totalItems) {
  return "(" + std::to_string(startedItems) + " of " + std::to_string(totalItems) + ") ";
}

std::string ListingLine(const std::string& machineType, const std::string& operatingSystem) {
  return StageLine("Acquiring list of updates", machineType, operatingSystem) + "...";
}

std::string ReportLine(const std::string& machineType, const std::string& operatingSystem) {
  return StageLine("Reporting acquisition status of updates", machineType, operatingSystem);
}

struct OITAcquireCallback::TMessage {
  std::int32_t kind;
  std::vector<std::string> fields;
  std::int32_t code;
};

struct OITAcquireCallback::TKindRow {
  std::int32_t kind;
  std::size_t neededFields;
  void (OITAcquireCallback::*handle)(const TMessage&);
};

constinit const OITAcquireCallback::TKindRow OITAcquireCallback::kKinds[] = {
    {KPLAcquistion::kItemStarted, 2, &OITAcquireCallback::OnItemStarted},
    {KPLAcquistion::kItemProgress, 2, &OITAcquireCallback::OnItemNamed},
    {KPLAcquistion::kItemState, 2, &OITAcquireCallback::OnItemNamed},
    {KPLAcquistion::kItemEnded, 2, &OITAcquireCallback::OnItemEnded},
    {KPLAcquistion::kListing, 0, &OITAcquireCallback::OnListing},
    {KPLAcquistion::kTotal, 3, &OITAcquireCallback::OnTotal},
    {KPLAcquistion::kStatus, 0, &OITAcquireCallback::OnStatusCode},
    {KPLAcquistion::kReport, 0, &OITAcquireCallback::OnReport},
    {KPLAcquistion::kReportTotal, 3, &OITAcquireCallback::OnReportTotal},
    {KPLAcquistion::kReportItem, 2, &OITAcquireCallback::OnReportItem},
    {KPLAcquistion::kReportItemEnd, 2, &OITAcquireCallback::OnReportItem},
};

void OITAcquireCallback::onStatus(std::int32_t kind, const std::string& text, std::int32_t code) {
  TMessage message{kind, {}, code};
  boost::algorithm::split(message.fields, text, boost::algorithm::is_any_of(":"));
  const auto row = std::find_if(std::begin(kKinds), std::end(kKinds),
                                [&](const TKindRow& candidate) { return candidate.kind == kind; });
  if (row == std::end(kKinds) || message.fields.size() < row->neededFields) return;
  (this->*row->handle)(message);
}

void OITAcquireCallback::OnItemStarted(const TMessage& message) {
  // Deliberate: see "A start of the current item is not counted" in docs/one-query.md.
  itemActive = true;
  if (message.fields[0] == currentItem) return;
  ++startedItems;
  if (totalItems > 0) ProgressPrefix(startedItems, totalItems);
  currentItem = message.fields[0];
}

void OITAcquireCallback::OnItemNamed(const TMessage& message) {
  if (message.fields[0] == currentItem) return;
  currentItem = message.fields[0];
  itemActive = true;
}

void OITAcquireCallback::OnItemEnded(const TMessage& message) {
  currentItem = message.fields[0];
  itemActive = false;
}

void OITAcquireCallback::OnListing(const TMessage& message) {
  startedItems = 0;
  itemActive = false;
  currentItem.clear();
  if (message.fields.size() >= 2) ListingLine(message.fields[0], message.fields[1]);
}

void OITAcquireCallback::OnTotal(const TMessage& message) {
  totalItems = static_cast<std::int32_t>(std::strtol(message.fields[2].c_str(), nullptr, 10));
}

void OITAcquireCallback::OnStatusCode(const TMessage& message) {
  if (message.code != kInterimCode) lastCode = message.code;
}

void OITAcquireCallback::OnReport(const TMessage& message) {
  reportActive = false;
  currentReport.clear();
  if (message.fields.size() >= 2) ReportLine(message.fields[0], message.fields[1]);
}

// Deliberate: see "The number of a report is not kept" in docs/one-query.md.
void OITAcquireCallback::OnReportTotal(const TMessage&) {}

void OITAcquireCallback::OnReportItem(const TMessage& message) {
  const bool ends = message.kind == KPLAcquistion::kReportItemEnd;
  if (message.fields[0] != currentReport) {
    currentReport = message.fields[0];
    reportActive = !ends;
  } else if (ends) {
    reportActive = false;
  }
}

}  // namespace svc::checker
