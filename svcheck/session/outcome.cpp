#include "svcheck/session/outcome.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "host/hskcore/exception.h"
#include "report/records.h"
#include "report/text.h"
#include "rules/log_texts.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"

using namespace NQRXHSK20;
using svc::report::EOutcome;

namespace svc {

namespace {

// The entries by which a query tells how it ends; the first one counts. Some go on with a value.
struct TEnd {
  int level;
  std::string_view start;
  EOutcome outcome;
  std::string_view cause = {};  // Where neither entry nor outcome says it.
};
constexpr std::array kEnds = {
    TEnd{kLogError, rules::kNoMachineType, EOutcome::kUnknownMachine},
    TEnd{kLogError, rules::kNoDefinitions, EOutcome::kNoDefinitions},
    TEnd{kLogError, rules::kNoIndex, EOutcome::kUnreadableCatalogue},
    TEnd{kLogError, rules::kIncorrectSystem, EOutcome::kUnsupportedSystem},
    TEnd{kLogError, rules::kNoResultClass, EOutcome::kFailed,
         "no class QRXSG_SVResult takes the records; declare it in an inventory, or leave out "
         "--no-builtin-classes"},
    TEnd{kLogWarning, rules::kNothingApplicable, EOutcome::kNothingApplicable},
    TEnd{kLogProgress, rules::kDownloadFailed, EOutcome::kDownloadFailed},
    TEnd{kLogProgress, rules::kNoDownload, EOutcome::kNoUpdates}};

// How the name of a file in the download folder begins.
constexpr std::string_view kDownloaded = "C:\\QRX_Support\\SV\\";
static_assert(kDownloaded.substr(0, kDownloaded.size() - 1) == rules::kDownloadFolder);

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = report::Trim(text.substr(0, end));
    if (!line.empty()) lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// What is printed of an index that was not loaded is the outcome in other words.
bool SaysOutcome(std::string_view line) {
  return line.starts_with(rules::kIndexTooOldStart) || line.starts_with(rules::kIndexNotFoundStart);
}

EOutcome Refine(EOutcome outcome, std::string_view printed) {
  if (outcome != EOutcome::kUnreadableCatalogue) return outcome;
  if (printed.find(rules::kIndexTooOldStart) != std::string_view::npos)
    return EOutcome::kUnsupportedCatalogue;
  if (printed.find(rules::kIndexNotFoundStart) != std::string_view::npos)
    return EOutcome::kNoCatalogue;
  return outcome;
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

}  // namespace

TJournal::TJournal(boost::shared_ptr<ILogger> next, TOnLoaded onLoaded)
    : next(std::move(next)), onLoaded(std::move(onLoaded)), isLoading(this->onLoaded != nullptr) {}

// The trace is wanted only up to the one line that says that the catalogue is loaded.
bool TJournal::IsRead(int level) const noexcept {
  return level <= kLogProgress || isLoading.load(std::memory_order_relaxed);
}

bool TJournal::IsLogged(int level) const noexcept {
  return IsRead(level) || (next && next->IsLogged(level));
}

// Nearly every entry is of the trace, which nobody reads.
void TJournal::Log(int level, std::string_view message) {
  if (next || IsRead(level)) Take(level, message);
}

void TJournal::Take(int level, std::string_view message) {
  if (next && next->IsLogged(level)) next->Log(level, message);
  if (!IsRead(level)) return;
  const std::lock_guard lock(mutex);
  Note(level, message);
}

void TJournal::Note(int level, std::string_view message) {
  if (onLoaded && message == rules::kSelectsMachine) {
    isLoading = false;
    std::exchange(onLoaded, {})();
  }
  if (level > kLogProgress) return;
  const auto* const end = std::find_if(kEnds.begin(), kEnds.end(), [&](const TEnd& row) {
    return row.level == level && message.starts_with(row.start);
  });
  if (end != kEnds.end()) {
    if (!outcome && !end->cause.empty()) remarks.emplace_back(end->cause);
    if (!outcome) outcome = end->outcome;
    if (message.size() > end->start.size()) remarks.emplace_back(message);
    return;
  }
  if (level == kLogProgress && message == rules::kFirmwareCompared) {
    walked = true;
    lastError.clear();
  }
  if (level == kLogError) lastError = message;
  // A file of the download folder is named before it is loaded.
  if (level == kLogProgress && message.starts_with(kDownloaded)) {
    loadedFiles.emplace_back(message.substr(kDownloaded.size()));
  }
  // The firmware comparison uses the error level for progress as well.
  if (level <= kLogWarning && (outcome || walked)) remarks.emplace_back(message);
}

std::vector<std::string> TJournal::LoadedFiles() const {
  const std::lock_guard lock(mutex);
  return loadedFiles;
}

void TJournal::Conclude(const TQueryEnd& end, const std::string& printed,
                        report::TReport& report) const {
  const std::lock_guard lock(mutex);
  report.errors.insert(report.errors.end(), remarks.begin(), remarks.end());
  for (std::string& line : LinesOf(printed)) {
    if (!SaysOutcome(line)) report.errors.push_back(std::move(line));
  }
  if (!end.returned) {
    report.outcome = EOutcome::kFailed;
    report.errors.insert(report.errors.begin(), end.exceptionText);
  } else if (outcome) {
    report.outcome = Refine(*outcome, printed);
  } else if (walked && lastError.empty()) {
    report.outcome = EOutcome::kDone;
  } else if (end.isOther) {
    report.outcome = EOutcome::kDone;
    if (!lastError.empty()) report.errors.push_back(lastError);
  } else if (report.catalogue.elements.value_or(1) == 0 && lastError.empty()) {
    report.outcome = EOutcome::kEmptyCatalogue;
  } else {
    // An exception that the query kept to itself but for its text.
    report.outcome = EOutcome::kFailed;
    if (!walked && !lastError.empty()) report.errors.insert(report.errors.begin(), lastError);
  }
  NameCatalogueFile(report);
}

void ConcludePublicFirmware(const TQueryEnd& end, report::TReport& report) {
  constexpr auto kNoFile = static_cast<int>(THSKStatusCode::kFileNotFound);
  if (end.returned) {
    const bool isNothing = report::RecordsOf(report).empty();
    report.outcome = isNothing ? EOutcome::kNothingApplicable : EOutcome::kDone;
    return;
  }
  report.errors.insert(report.errors.begin(), end.exceptionText);
  report.outcome = EOutcome::kUnreadableCatalogue;
  if (end.status == kNoFile) report.outcome = EOutcome::kNoCatalogue;
  if (!end.status) report.outcome = EOutcome::kFailed;
}

std::optional<EErrorKind> FailureOf(EOutcome outcome) noexcept {
  switch (outcome) {
    case EOutcome::kDone:
    case EOutcome::kNothingApplicable:
    case EOutcome::kEmptyCatalogue:
      return {};
    case EOutcome::kNoCatalogue:
    case EOutcome::kUnsupportedCatalogue:
    case EOutcome::kUnreadableCatalogue:
    case EOutcome::kDownloadFailed:
    case EOutcome::kNoUpdates:
      return EErrorKind::kCatalogue;
    case EOutcome::kUnsupportedSystem:
    case EOutcome::kUnknownMachine:
    case EOutcome::kNoDefinitions:
    case EOutcome::kFailed:
      break;
  }
  return EErrorKind::kFailure;
}

int ExitStatusOf(EOutcome outcome) noexcept {
  const auto kind = FailureOf(outcome);
  return kind ? StatusOf(*kind) : kExitDone;
}

// The system's own words, which a saved report holds too.
static bool IsForbidden(const report::TReport& report) {
  const std::string words = std::generic_category().message(EACCES);
  return std::ranges::any_of(report.errors, [&](const std::string& error) {
    return error.find(words) != std::string::npos;
  });
}

std::string_view AdviceOn(const report::TReport& report) {
  switch (report.outcome) {
    case EOutcome::kNoCatalogue:
      return "give the folder that holds index.xml with --catalogue";
    case EOutcome::kUnsupportedCatalogue:
      return "get a catalogue of version 4.02 or later";
    case EOutcome::kUnreadableCatalogue:
      return IsForbidden(report) ? "give this user the right to read it" : "get the catalogue anew";
    case EOutcome::kNoUpdates:
      return "publish descriptions for this machine and system, or give --catalogue DIR";
    case EOutcome::kUnsupportedSystem:
      return "`svcheck catalogue fetch --repository URL --output DIR` brings all that a repository "
             "has, for any system; then check with --catalogue DIR";
    case EOutcome::kUnknownMachine:
      return "name it with --machine, or give an inventory whose QRXSG_ComputerSystem has a "
             "MachineType with --inventory";
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
  const std::string_view advice = AdviceOn(report);
  const bool hasCause = !report.errors.empty() && report.errors.front() != advice;
  if (hasCause) line += ' ' + report.errors.front();
  if (advice.empty()) return line;
  if (line.ends_with('.')) line.pop_back();
  return line.append("; ").append(advice);
}

}  // namespace svc
