// Records that are read one by one, from memory or from where they were put aside.
#ifndef REPORT_RECORDS_H_
#define REPORT_RECORDS_H_

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <vector>

#include "report/model.h"

namespace svc::report {

// Numbered records that somebody else keeps. Used by one thread.
class IRecordSource {
 public:
  virtual ~IRecordSource() = default;
  virtual std::size_t Count() const noexcept = 0;
  // Fills a record, whatever it held. May throw. REQUIRES: a number below the count.
  virtual void Read(std::size_t number, TRecord& record) const = 0;
};

// The records of a report, in order. What its iterators point to is valid until they move.
// REQUIRES: the report outlives it and keeps its records.
class TRecordRange {
 public:
  explicit TRecordRange(const TReport& report) : report(&report) {}

  class TIterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = TRecord;
    using difference_type = std::ptrdiff_t;
    using pointer = const TRecord*;
    using reference = const TRecord&;

    TIterator(const TReport& report, std::size_t number) : report(&report), number(number) {
      ReadIfAny();
    }
    const TRecord& operator*() const { return report->source ? current : report->records[number]; }
    const TRecord* operator->() const { return &**this; }
    TIterator& operator++() {
      ++number;
      ReadIfAny();
      return *this;
    }
    void operator++(int) { ++*this; }
    bool operator==(const TIterator& other) const noexcept { return number == other.number; }

   private:
    void ReadIfAny() {
      if (report->source && number < report->source->Count()) report->source->Read(number, current);
    }

    const TReport* report;
    std::size_t number;
    TRecord current;
  };

  TIterator begin() const { return {*report, 0}; }
  TIterator end() const { return {*report, size()}; }
  std::size_t size() const noexcept {
    return report->source ? report->source->Count() : report->records.size();
  }
  bool empty() const noexcept { return size() == 0; }

 private:
  const TReport* report;
};

// Sets the verdict of a record, and why it is unknown.
inline void Judge(TRecord& record) {
  if (record.compared) {
    record.verdict = *record.compared;
    record.why.reset();
    return;
  }
  const TJudgement judgement = JudgeWithReason(record.installed, record.offered);
  record.verdict = judgement.verdict;
  record.why = judgement.why;
}

inline TRecordRange RecordsOf(const TReport& report) { return TRecordRange(report); }
inline const TReport& WholeOf(const TReport& report) {
  return report.whole ? *report.whole : report;
}

// Sets the verdict of each record: at once, or when it is first read. REQUIRES: from then on the
// source has the same records.
void JudgeEach(TReport& report);
// Changes every record: at once, or whenever it is read.
void ChangeEach(TReport& report, std::function<void(TRecord&)> change);

// Leaves out the records that are not wanted. Returns how many that were.
std::size_t KeepOnly(TReport& report, const std::function<bool(const TRecord&)>& isWanted);

// The records of one source, and behind them those of another.
std::shared_ptr<const IRecordSource> Joined(std::shared_ptr<const IRecordSource> first,
                                            std::shared_ptr<const IRecordSource> second);

}  // namespace svc::report

#endif  // REPORT_RECORDS_H_
