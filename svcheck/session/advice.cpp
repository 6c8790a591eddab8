#include "svcheck/session/advice.h"
#include "rules/names.h"
#include "runtime/hskcore/path_of.h"

#include <filesystem>

using svc::report::EOutcome;

namespace svc {

std::string_view AdviceOn(EOutcome outcome) noexcept {
  switch (outcome) {
    case EOutcome::kNoCatalogue:
      return "give the folder that holds index.xml with --catalogue";
    case EOutcome::kUnsupportedCatalogue:
      return "get a catalogue of version 4.02 or later";
    case EOutcome::kUnreadableCatalogue:
      return "get the catalogue anew";
    case EOutcome::kNoUpdates:
      return "publish descriptions for this machine and system, or give --catalogue DIR";
    case EOutcome::kUnsupportedSystem:
      return "give a catalogue for this operating system with --catalogue";
    case EOutcome::kUnknownMachine:
      return "give an inventory whose QRXSG_ComputerSystem has a MachineType with --inventory";
    case EOutcome::kNoDefinitions:
      return "give the folder that holds sv/ with --data-dir";
    case EOutcome::kDone:
    case EOutcome::kNothingApplicable:
    case EOutcome::kEmptyCatalogue:
    case EOutcome::kDownloadFailed:  // The download says itself what to do.
    case EOutcome::kFailed:          // So does whatever failed.
      break;
  }
  return {};
}

void NameCatalogueFile(report::TReport& report) {
  constexpr std::string_view kLine = "line ";
  const bool named = report.outcome == EOutcome::kUnreadableCatalogue ||
                     report.outcome == EOutcome::kUnsupportedCatalogue;
  if (!named || report.catalogue.source != "folder") return;
  const std::string file = (PathOf(report.catalogue.path) / rules::kIndexFile).string();
  for (std::string& error : report.errors) {
    if (error.starts_with(kLine)) error.replace(0, kLine.size(), file + ':');
  }
}

void NameNumberProperty(report::TReport& report) {
  constexpr std::string_view kCause = " is no uint16";
  if (report.outcome != EOutcome::kFailed) return;
  for (std::string& error : report.errors) {
    if (!error.ends_with(kCause)) continue;
    error = "The inventory's QRXSG_OperatingSystem has an unusable OSType: " + error +
            "; correct it in the inventory";
  }
}

std::string FailureLine(const report::TReport& report) {
  std::string line(report::RowOf(report.outcome).sentence);
  const std::string_view advice = AdviceOn(report.outcome);
  const bool hasCause = !report.errors.empty() && report.errors.front() != advice;
  if (hasCause) line += ' ' + report.errors.front();
  if (advice.empty()) return line;
  if (line.ends_with('.')) line.pop_back();
  return line.append("; ").append(advice);
}

}  // namespace svc
