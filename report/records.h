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

// Records of a report: all in order, or those of some numbers in theirs. What its iterators point
// to is valid until they move. REQUIRES: report and numbers outlive it and stay as they are.
class TRecordRange {
 public:
  explicit TRecordRange(const TReport& report, const std::vector<std::size_t>* numbers = nullptr)
      : report(&report), numbers(numbers) {}

  class TIterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = TRecord;
    using difference_type = std::ptrdiff_t;
    using pointer = const TRecord*;
    using reference = const TRecord&;

    TIterator(const TReport& report, const std::vector<std::size_t>* numbers, std::size_t place)
        : report(&report), numbers(numbers), place(place) {
      ReadIfAny();
    }
    const TRecord& operator*() const {
      return report->source ? current : report->records[Number()];
    }
    const TRecord* operator->() const { return &**this; }
    TIterator& operator++() {
      ++place;
      ReadIfAny();
      return *this;
    }
    void operator++(int) { ++*this; }
    bool operator==(const TIterator& other) const noexcept { return place == other.place; }
    // Of the record among all of the report.
    std::size_t Number() const noexcept { return numbers == nullptr ? place : (*numbers)[place]; }

   private:
    void ReadIfAny() {
      const std::size_t count = numbers == nullptr ? CountOf(*report) : numbers->size();
      if (report->source && place < count) report->source->Read(Number(), current);
    }

    const TReport* report;
    const std::vector<std::size_t>* numbers;
    std::size_t place;
    TRecord current;
  };

  TIterator begin() const { return {*report, numbers, 0}; }
  TIterator end() const { return {*report, numbers, size()}; }
  std::size_t size() const noexcept {
    return numbers == nullptr ? CountOf(*report) : numbers->size();
  }
  bool empty() const noexcept { return size() == 0; }

 private:
  static std::size_t CountOf(const TReport& report) noexcept {
    return report.source ? report.source->Count() : report.records.size();
  }

  const TReport* report;
  const std::vector<std::size_t>* numbers;  // Null for all.
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

// All of them, for whatever they come to.
inline TRecordRange RecordsOf(const TReport& report) { return TRecordRange(report); }
// Those that a format shows.
inline TRecordRange ShownIn(const TReport& report) {
  return TRecordRange(report, report.shown ? &report.shown->numbers : nullptr);
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
