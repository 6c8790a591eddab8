#include "plugins/version_checker/catalogue/acquire_callback.h"

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <cstddef>
#include <cstdlib>
#include <iterator>

namespace svc::checker {

namespace {

constexpr std::int32_t kInterimCode = 3;  // Told while a download goes on: never its outcome.

std::string ShownSystem(const std::string& operatingSystem) {
  return operatingSystem.find("Windows") == std::string::npos ? operatingSystem : "Windows";
}

std::string StageLine(const char* stage, const std::string& machineType,
                      const std::string& operatingSystem) {
  return std::string("\n") + stage + " for Machine-Type=" + machineType + " OS=\"" +
         ShownSystem(operatingSystem) + "\"";
}

}  // namespace

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
