// Records that are read one by one, from memory or from where they were put aside, the rows that
// stand for many of them, and how they are written as JSON.
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/json_writer.h"
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

// --- Rows of a kernel's drivers ---

// Drivers that go by the release of their kernel. A kernel has hundreds of them, whose records say
// the same but for the name: where people read, they are one row, and where updates are counted,
// one update. Used by one thread.

struct TKernelRow {
  TRecord first;            // But for the name, what it says holds for all of them.
  std::size_t place = 0;    // Of that record among those that were looked at, from 0.
  std::size_t records = 0;  // Two or more.
  bool isOneUpdate = true;  // Whether the element that brings the first brings all of them.
};

// "kernel 6.1.0-47-amd64 → 6.12.117-amd64: 41 drivers"
std::string TitleOf(const TKernelRow& row);

// A machine runs one kernel, and a catalogue rarely offers more than a few: of the releases that
// come first there are rows, drivers of further ones stay records by themselves.
class TKernelRows {
 public:
  // None.
  TKernelRows() = default;
  // Of some records, which are walked over once.
  explicit TKernelRows(const TRecordRange& records);

  // In the order of their first records. Valid as long as this.
  const std::vector<TKernelRow>& All() const noexcept { return rows; }
  // The row that a record is part of; null for one that stands by itself.
  const TKernelRow* Of(const TRecord& record) const noexcept;

 private:
  // The number of the row; that of all rows where there is none.
  std::size_t Find(const TRecord& record) const noexcept;

  std::vector<TKernelRow> rows;
};

// Calls `use` for each row that the records make, in order: with the record and, where it stands
// for others, the row of a kernel, otherwise null. REQUIRES: the rows are those of these records.
template <typename TUse>
void ForEachRow(const TRecordRange& records, const TKernelRows& rows, const TUse& use) {
  std::size_t place = 0;
  for (const TRecord& record : records) {
    const TKernelRow* const row = rows.Of(record);
    if (row == nullptr || row->place == place) use(record, row);
    ++place;
  }
}

// A report as JSON (RFC 8259): its parts as they are written, and the whole as it is read back. May
// be called from any thread.

// The members of a record: its four texts as they came from the plug-in, and how it was judged.
void AddTexts(const TRecord& record, TJsonWriter& json);
void AddVerdict(const TRecord& record, TJsonWriter& json);

// Members that say how a check ended: outcome, state and, where it has one, the state's reason.
void WriteEnd(const TReport& report, const TSummary& summary, TJsonWriter& json);

// The next value.
void WriteMachine(const TMachine& machine, TJsonWriter& json);
void WriteSystem(const TOperatingSystem& system, TJsonWriter& json);
void WriteCatalogue(const TCatalogue& catalogue, TJsonWriter& json);
void WriteSummary(const TSummary& summary, bool withWaived, TJsonWriter& json);

// The report that RenderJson wrote. Members that it does not know are passed over: a later version
// of the same schema may add some. Throws TError (kText) for a text that is no report, or not a
// whole one: what is wrong and where in it.
TReport ReadSavedReport(std::string_view json);

}  // namespace svc::report
