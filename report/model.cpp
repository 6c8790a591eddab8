#include "report/model.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "report/records.h"

namespace svc::report {

namespace {

void AddCount(std::string& sentence, std::size_t count, std::string_view word) {
  if (count == 0) return;
  if (!sentence.empty()) sentence += ", ";
  sentence += std::to_string(count);
  sentence += ' ';
  sentence += word;
}

consteval bool RowsAreInOrder() {
  for (std::size_t i = 0; i < kOutcomes.size(); ++i) {
    if (static_cast<std::size_t>(kOutcomes[i].outcome) != i) return false;
  }
  return kOutcomes.back().outcome == EOutcome::kFailed;
}
static_assert(RowsAreInOrder(), "RowOf finds a row by its number");

class TChangedRecords : public IRecordSource {
 public:
  TChangedRecords(std::shared_ptr<const IRecordSource> source, std::function<void(TRecord&)> change)
      : source(std::move(source)), change(std::move(change)) {}
  std::size_t Count() const noexcept override { return source->Count(); }
  void Read(std::size_t number, TRecord& record) const override {
    source->Read(number, record);
    change(record);
  }

 private:
  std::shared_ptr<const IRecordSource> source;
  std::function<void(TRecord&)> change;
};

struct TKeptJudgement {
  bool isKnown = false;
  bool hasReason = false;
  std::uint8_t verdict = 0;
  std::uint8_t why = 0;
};

// A report is read once for its counts, once for its state, once for its records: each record is
// judged when it is read first, and what came of it is kept in four bytes.
class TJudgedRecords : public IRecordSource {
 public:
  explicit TJudgedRecords(std::shared_ptr<const IRecordSource> source)
      : source(std::move(source)), judged(this->source->Count()) {}
  std::size_t Count() const noexcept override { return source->Count(); }
  void Read(std::size_t number, TRecord& record) const override {
    source->Read(number, record);
    TKeptJudgement& kept = judged[number];
    if (kept.isKnown) {
      record.verdict = static_cast<EVerdict>(kept.verdict);
      record.why.reset();
      if (kept.hasReason) record.why = static_cast<EUnordered>(kept.why);
      return;
    }
    Judge(record);
    const auto why = static_cast<std::uint8_t>(record.why.value_or(EUnordered()));
    kept = {true, record.why.has_value(), static_cast<std::uint8_t>(record.verdict), why};
  }

 private:
  std::shared_ptr<const IRecordSource> source;
  mutable std::vector<TKeptJudgement> judged;
};

// Some records of a source, by their numbers.
class TChosenRecords : public IRecordSource {
 public:
  TChosenRecords(std::shared_ptr<const IRecordSource> source, std::vector<std::size_t> numbers)
      : source(std::move(source)), numbers(std::move(numbers)) {}
  std::size_t Count() const noexcept override { return numbers.size(); }
  void Read(std::size_t number, TRecord& record) const override {
    source->Read(numbers[number], record);
  }

 private:
  std::shared_ptr<const IRecordSource> source;
  std::vector<std::size_t> numbers;
};

class TJoinedRecords : public IRecordSource {
 public:
  TJoinedRecords(std::shared_ptr<const IRecordSource> first,
                 std::shared_ptr<const IRecordSource> second)
      : first(std::move(first)), second(std::move(second)) {}
  std::size_t Count() const noexcept override { return first->Count() + second->Count(); }
  void Read(std::size_t number, TRecord& record) const override {
    const std::size_t before = first->Count();
    number < before ? first->Read(number, record) : second->Read(number - before, record);
  }

 private:
  std::shared_ptr<const IRecordSource> first;
  std::shared_ptr<const IRecordSource> second;
};

constexpr std::array<std::string_view, 4> kUrgencies = {"low", "medium", "high", "critical"};

}  // namespace

bool IsUrgent(const TRelease& release, std::string_view atLeast) noexcept {
  const auto* const has = std::find(kUrgencies.begin(), kUrgencies.end(), release.urgency);
  return has != kUrgencies.end() && has >= std::find(kUrgencies.begin(), kUrgencies.end(), atLeast);
}

std::size_t TSummary::Total() const noexcept {
  return std::accumulate(verdicts.begin(), verdicts.end(), waived);
}

void TSummary::Add(const TRecord& record) noexcept {
  ++(record.waived ? waived : verdicts[IndexOf(record.verdict)]);
  if (record.expiredWaiver) ++expiredWaivers;
  if (record.verdict != EVerdict::kUnknown) ++compared;
}

TSummary Summarize(const TReport& report) {
  TSummary summary;
  for (const TRecord& record : RecordsOf(report)) {
    summary.Add(record);
  }
  return summary;
}

std::string TitleOf(const TUpdate& update) {
  const std::string_view name = Trim(update.name);
  return name.empty() ? update.file + ':' + std::to_string(update.line) : std::string(name);
}

void JudgeEach(TReport& report) {
  for (TRecord& record : report.records) Judge(record);
  if (report.source) report.source = std::make_shared<TJudgedRecords>(std::move(report.source));
}

void ChangeEach(TReport& report, std::function<void(TRecord&)> change) {
  for (TRecord& record : report.records) change(record);
  if (!report.source) return;
  report.source = std::make_shared<TChangedRecords>(std::move(report.source), std::move(change));
}

std::size_t KeepOnly(TReport& report, const std::function<bool(const TRecord&)>& isWanted) {
  const std::size_t before = RecordsOf(report).size();
  std::erase_if(report.records, [&](const TRecord& record) { return !isWanted(record); });
  if (report.source) {
    std::vector<std::size_t> numbers;
    std::size_t number = 0;
    for (const TRecord& record : RecordsOf(report)) {
      if (isWanted(record)) numbers.push_back(number);
      ++number;
    }
    report.source = std::make_shared<TChosenRecords>(std::move(report.source), std::move(numbers));
  }
  return before - RecordsOf(report).size();
}

std::shared_ptr<const IRecordSource> Joined(std::shared_ptr<const IRecordSource> first,
                                            std::shared_ptr<const IRecordSource> second) {
  return std::make_shared<TJoinedRecords>(std::move(first), std::move(second));
}

std::string Sentence(const TSummary& summary) {
  std::string sentence;
  for (const EVerdict verdict : kVerdicts) AddCount(sentence, summary.Of(verdict), NameOf(verdict));
  AddCount(sentence, summary.waived, "waived");
  if (summary.expiredWaivers > 0) {
    sentence += "; " + std::to_string(summary.expiredWaivers);
    sentence += summary.expiredWaivers == 1 ? " waiver has expired" : " waivers have expired";
  }
  return sentence;
}

std::optional<EOutcome> OutcomeOfName(std::string_view name) noexcept {
  const auto found = std::find_if(kOutcomes.begin(), kOutcomes.end(),
                                  [&](const TOutcomeRow& row) { return row.name == name; });
  if (found == kOutcomes.end()) return {};
  return found->outcome;
}

const TFormat* FormatOfName(std::string_view name) noexcept {
  const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                  [&](const TFormat& format) { return format.name == name; });
  return found == kFormats.end() ? nullptr : &*found;
}

}  // namespace svc::report
