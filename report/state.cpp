// What a report comes to: its state with the reason, how much of what is installed it covers, what
// is to be known of it, and whether it fulfils a condition.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>

#include "report/model.h"
#include "report/records.h"
#include "report/selection.h"
#include "report/text.h"

namespace svc::report {

namespace {

consteval bool RowsAreInOrder() {
  for (std::size_t i = 0; i < kPassedOver.size(); ++i) {
    if (static_cast<std::size_t>(kPassedOver[i].why) != i) return false;
  }
  return kPassedOver.back().why == EPassedOver::kNotRunning;
}
static_assert(RowsAreInOrder(), "RowOf finds a row by its number");

// Of records of which none could be ordered: their reasons, the most frequent first.
std::string WhyNoneIsOrdered(const TReport& report) {
  std::map<std::string_view, std::size_t> counts;
  for (const TRecord& record : RecordsOf(report)) {
    if (record.why) ++counts[TextOf(*record.why)];
  }
  std::vector<std::pair<std::string_view, std::size_t>> reasons(counts.begin(), counts.end());
  std::ranges::stable_sort(reasons, std::greater(), &decltype(reasons)::value_type::second);
  const std::size_t count = RecordsOf(report).size();
  std::string text = count == 1 ? "the only record could not be ordered"
                                : fmt::format("none of {} records could be ordered", count);
  for (const auto& [reason, records] : reasons) {
    text += fmt::format("{} {} ({})", text.find(':') == text.npos ? ":" : ",", reason, records);
  }
  return text;
}

std::string WhyNothingApplies(const TReport& report) {
  const std::string type = PlainLine(report.machine.type);
  if (report.catalogue.elements == 1) {
    return "the catalogue's only element is not for machine type " + type;
  }
  if (!report.catalogue.elements) return "the catalogue offers nothing for machine type " + type;
  return fmt::format("none of the catalogue's {} elements is for machine type {}",
                     *report.catalogue.elements, type);
}

std::string WhyNothingWasCompared(const TReport& report) {
  if (!report.nothingComparedBecause.empty()) return report.nothingComparedBecause;
  if (report.outcome == EOutcome::kEmptyCatalogue) return "the catalogue holds no update elements";
  if (report.outcome == EOutcome::kNothingApplicable) return WhyNothingApplies(report);
  if (!RecordsOf(report).empty()) return WhyNoneIsOrdered(report);
  if (report.driversLeftOut.value_or(0) > 0)
    return "all records are of drivers, which are left out";
  return "the catalogue offers updates for this machine, but none for what is installed";
}

}  // namespace

EState StateOf(const TReport& report, const TSummary& summary) noexcept {
  if (!WasCompared(report.outcome)) return EState::kFailed;
  if (summary.compared == 0) return EState::kNothingCompared;
  return summary.Of(EVerdict::kOutdated) > 0 ? EState::kUpdates : EState::kCurrent;
}

std::string StateReason(const TReport& report, const TSummary& summary) {
  switch (StateOf(report, summary)) {
    case EState::kUpdates:
    case EState::kCurrent:
      return {};
    case EState::kNothingCompared:
      return WhyNothingWasCompared(report);
    case EState::kFailed:
      break;
  }
  // The cause is the first error, which every format shows: only where the outcome says nothing of
  // it is it the reason as well.
  const bool saysWhy = report.outcome != EOutcome::kFailed || report.errors.empty();
  return saysWhy ? std::string(RowOf(report.outcome).sentence) : report.errors.front();
}

// --- Coverage: how much of what is installed was compared ---

std::optional<EPassedOver> PassedOverOfName(std::string_view name) noexcept {
  const auto found = std::ranges::find(kPassedOver, name, &TPassedOverRow::name);
  if (found == kPassedOver.end()) return {};
  return found->why;
}

std::array<std::size_t, kPassedOver.size()> CountsOf(const TCoverage& coverage) noexcept {
  std::array<std::size_t, kPassedOver.size()> counts{};
  for (const TPiece& piece : coverage.notCompared) ++counts[static_cast<std::size_t>(piece.why)];
  return counts;
}

std::string Sentence(const TCoverage& coverage) {
  const std::size_t without = coverage.notCompared.size();
  std::string text = fmt::format("{} installed piece{}: {} compared", coverage.installed,
                                 coverage.installed == 1 ? "" : "s", coverage.installed - without);
  if (without == 0) return text + '.';
  text += fmt::format(", {} not:", without);
  const auto counts = CountsOf(coverage);
  for (const TPassedOverRow& row : kPassedOver) {
    const std::size_t count = counts[static_cast<std::size_t>(row.why)];
    if (count == 0) continue;
    text += fmt::format("{}{} {}", text.ends_with(':') ? " " : ", ", count,
                        count == 1 ? row.one : row.many);
  }
  return text + '.';
}

// --- What a reader has to know of a check that took place ---

constexpr std::uint64_t kDay = 86'400;

static std::string OnUnknownSystem(const TReport& report) {
  constexpr std::string_view kFact = "Catalogues have no code for this operating system";
  if (report.driversLeftOut) {
    return fmt::format("{}: records of drivers are left out, {} of them.", kFact,
                       *report.driversLeftOut);
  }
  return fmt::format("{}: drivers are compared with those that are offered for any.", kFact);
}

// Neither the times nor the days of others may be out of bounds here.
bool IsCatalogueTooOld(const TReport& report, const TRenderOptions& options) noexcept {
  const auto date = report.catalogue.Date();
  if (!options.maxAge || !date || report.generated <= *date) return false;
  const auto age = static_cast<std::uint64_t>(report.generated) - static_cast<std::uint64_t>(*date);
  return (age - 1) / kDay >= *options.maxAge;
}

std::vector<std::string> Notices(const TReport& report, const TRenderOptions& options) {
  std::vector<std::string> notices;
  if (report.osKnown == false) notices.push_back(OnUnknownSystem(report));
  if (IsCatalogueTooOld(report, options)) {
    notices.push_back(fmt::format("The catalogue is {} old, more than the {} day{} allowed.",
                                  Age(report.generated - *report.catalogue.Date()), *options.maxAge,
                                  *options.maxAge == 1 ? "" : "s"));
  }
  if (std::string text = HiddenNotice(report); !text.empty()) notices.push_back(std::move(text));
  return notices;
}

// --- Conditions of --fail-on ---

namespace {

struct TConditionRow {
  std::string_view name;
  EFailOn condition;
};
constexpr std::array kConditions = {
    TConditionRow{"outdated", EFailOn::kOutdated}, TConditionRow{"unknown", EFailOn::kUnknown},
    TConditionRow{"newer", EFailOn::kNewer}, TConditionRow{"nothing", EFailOn::kNothing},
    TConditionRow{"different", EFailOn::kDifferent}};

}  // namespace

std::optional<EFailOn> FailOnOfText(std::string_view text) noexcept {
  if (text == "none") return EFailOn::kNone;
  EFailOn conditions = EFailOn::kNone;
  for (bool isLast = false; !isLast;) {
    const std::size_t comma = text.find(',');
    isLast = comma == std::string_view::npos;
    const auto row = std::ranges::find(kConditions, text.substr(0, comma), &TConditionRow::name);
    if (row == kConditions.end()) return {};
    conditions = conditions | row->condition;
    if (!isLast) text.remove_prefix(comma + 1);
  }
  return conditions;
}

bool FailsOn(const TRecord& record, EFailOn conditions) noexcept {
  if (record.waived) return false;
  switch (record.verdict) {
    case EVerdict::kOutdated:
      return Includes(conditions, EFailOn::kOutdated);
    case EVerdict::kUnknown:
      return Includes(conditions, EFailOn::kUnknown);
    case EVerdict::kNewer:
      return Includes(conditions, EFailOn::kNewer);
    case EVerdict::kCurrent:
      break;
  }
  return false;
}

bool FailsOn(const TReport& report, EFailOn conditions) {
  const TRecordRange records = RecordsOf(report);
  if (std::any_of(records.begin(), records.end(),
                  [&](const TRecord& record) { return FailsOn(record, conditions); })) {
    return true;
  }
  return Includes(conditions, EFailOn::kNothing) &&
         StateOf(report, Summarize(report)) == EState::kNothingCompared;
}

}  // namespace svc::report
