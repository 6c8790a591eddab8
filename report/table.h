// Texts in columns for a terminal, aligned by what characters take there. Two walks over the rows,
// first Measure, then Line, so that no row is kept. Used by one thread.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "report/model.h"

namespace svc::report {

// The text with blanks behind it up to so many columns; a longer one as it is.
std::string Padded(std::string text, std::size_t columns);

// What a table does whatever the number of its columns is.
void MeasureCells(std::span<const std::string> cells, std::span<std::size_t> widths) noexcept;
void NarrowColumns(std::span<std::size_t> widths, std::size_t width) noexcept;
std::string LineOfCells(std::span<const std::string> cells, std::span<const std::size_t> widths,
                        std::string_view color);
// Cells of which that of column `from` stands in the columns up to `to`, whose own are empty.
struct TMerged {
  std::size_t from;
  std::size_t to;
};
void MeasureMerged(std::span<const std::string> cells, TMerged merged,
                   std::span<std::size_t> widths) noexcept;
std::string LineOfMerged(std::span<const std::string> cells, TMerged merged,
                         std::span<const std::size_t> widths, std::string_view color);

// Each column but the last, which ends the line, is as wide as its widest cell, up to 1,024 of the
// screen's; what is longer stands out of its column whole.
template <std::size_t kCount>
class TTable {
 public:
  using TRow = std::array<std::string, kCount>;

  // The titles are the first row.
  explicit TTable(TRow titles) : titles(std::move(titles)) { Measure(this->titles); }

  void Measure(const TRow& row) noexcept { MeasureCells(row, widths); }
  // Takes from the widest column until a line fits into `width`, down to a width that still tells
  // something. Cells that do not fit are cut.
  void Narrow(std::size_t width) noexcept { NarrowColumns(widths, width); }
  std::string Heads() const { return Line(titles); }
  // With a line end. The last cell is in `color`, a sequence of ECMA-48, where there is one.
  std::string Line(const TRow& row, std::string_view color = {}) const {
    return LineOfCells(row, widths, color);
  }
  // The same for a row with merged columns. It makes the first of them wider where need be: such
  // rows are measured behind all others.
  void Measure(const TRow& row, TMerged merged) noexcept { MeasureMerged(row, merged, widths); }
  std::string Line(const TRow& row, TMerged merged, std::string_view color = {}) const {
    return LineOfMerged(row, merged, widths, color);
  }

 private:
  TRow titles;
  std::array<std::size_t, kCount> widths{};
};

// The cells of a record, in a table of records or of changes.

// A text on one line; "-" for nothing.
std::string CellOf(std::string_view text);
// The verdict as a word, and what a waiver has to do with it.
std::string VerdictCell(const TRecord& record);
std::string_view ColorOf(const TRecord& record) noexcept;

}  // namespace svc::report
