// Texts in columns for a terminal, aligned by what characters take there. Two walks over the rows,
// first Measure, then Line, so that no row is kept. Used by one thread.
#ifndef REPORT_COLUMNS_H_
#define REPORT_COLUMNS_H_

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "report/model.h"

namespace svc::report {

template <std::size_t kCount>
class TColumns {
 public:
  using TRow = std::array<std::string, kCount>;

  void Measure(const TRow& row) noexcept;
  // Takes from the widest column until a line fits into `width`, down to a width that still tells
  // something.
  void Narrow(std::size_t width) noexcept;
  // With a line end. The last column is in `color`, a sequence of ECMA-48, where there is one.
  std::string Line(const TRow& row, std::string_view color = {}) const;

 private:
  std::array<std::size_t, kCount> widths{};
};

// Of a table of records and of a table of changes.
extern template class TColumns<5>;
extern template class TColumns<6>;

// A text of a record on one line; "-" for nothing.
std::string CellOf(std::string_view text);
// The verdict as a word, and what a waiver has to do with it.
std::string VerdictCell(const TRecord& record);
std::string_view ColorOf(const TRecord& record) noexcept;

}  // namespace svc::report

#endif  // REPORT_COLUMNS_H_
