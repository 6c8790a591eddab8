// Drivers that go by the release of their kernel. A kernel has hundreds of them, whose records say
// the same but for the name: where people read, they are one row, and where updates are counted,
// one update. Used by one thread.
#ifndef REPORT_KERNEL_ROWS_H_
#define REPORT_KERNEL_ROWS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "report/model.h"
#include "report/records.h"

namespace svc::report {

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

}  // namespace svc::report

#endif  // REPORT_KERNEL_ROWS_H_
