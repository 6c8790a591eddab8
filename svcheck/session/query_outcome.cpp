#include "svcheck/session/query_outcome.h"

#include <algorithm>
#include <array>
#include <utility>

#include "report/ascii.h"
#include "rules/log_texts.h"
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

EOutcome Refine(EOutcome outcome, std::string_view printed) {
  if (outcome != EOutcome::kUnreadableCatalogue) return outcome;
  if (printed.find(rules::kIndexTooOldStart) != std::string_view::npos)
    return EOutcome::kUnsupportedCatalogue;
  if (printed.find(rules::kIndexNotFoundStart) != std::string_view::npos)
    return EOutcome::kNoCatalogue;
  return outcome;
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

void TJournal::Log(int level, std::string_view message) {
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
  // The firmware comparison uses the error level for progress as well.
  if (level <= kLogWarning && (outcome || walked)) remarks.emplace_back(message);
}

void TJournal::Conclude(const TQueryEnd& end, const std::string& printed,
                        report::TReport& report) const {
  const std::lock_guard lock(mutex);
  report.errors.insert(report.errors.end(), remarks.begin(), remarks.end());
  for (std::string& line : LinesOf(printed)) report.errors.push_back(std::move(line));
  if (!end.returned) {
    report.outcome = EOutcome::kFailed;
    report.errors.insert(report.errors.begin(), end.exceptionText);
  } else if (outcome) {
    report.outcome = Refine(*outcome, printed);
  } else if (walked && lastError.empty()) {
    report.outcome = EOutcome::kDone;
  } else if (report.catalogue.elements.value_or(1) == 0 && lastError.empty()) {
    report.outcome = EOutcome::kEmptyCatalogue;
  } else {
    // An exception that the query kept to itself but for its text.
    report.outcome = EOutcome::kFailed;
    if (!walked && !lastError.empty()) report.errors.insert(report.errors.begin(), lastError);
  }
}

int ExitStatusOf(EOutcome outcome) noexcept {
  switch (outcome) {
    case EOutcome::kDone:
    case EOutcome::kNothingApplicable:
    case EOutcome::kEmptyCatalogue:
      return kExitDone;
    case EOutcome::kNoCatalogue:
    case EOutcome::kUnsupportedCatalogue:
    case EOutcome::kUnreadableCatalogue:
    case EOutcome::kDownloadFailed:
    case EOutcome::kNoUpdates:
      return kExitCatalogue;
    case EOutcome::kUnsupportedSystem:
    case EOutcome::kUnknownMachine:
    case EOutcome::kNoDefinitions:
    case EOutcome::kFailed:
      break;
  }
  return kExitFailure;
}

}  // namespace svc
