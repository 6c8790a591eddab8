#include "report/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "report/text.h"

namespace svc::report {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::string_view kPlain = "\033[0m";

}  // namespace

std::string Padded(std::string text, std::size_t columns) {
  const std::size_t width = DisplayWidth(text);
  if (width < columns) text.append(columns - width, ' ');
  return text;
}

void MeasureCells(std::span<const std::string> cells, std::span<std::size_t> widths) noexcept {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    widths[i] = std::max(widths[i], DisplayWidth(cells[i]));
  }
}

void NarrowColumns(std::span<std::size_t> widths, std::size_t width) noexcept {
  constexpr std::size_t kLeast = 8;
  const auto total = [&] {
    return std::accumulate(widths.begin(), widths.end(), kGap.size() * (widths.size() - 1));
  };
  while (total() > width) {
    const auto widest = std::max_element(widths.begin(), widths.end());
    if (*widest <= kLeast) return;
    --*widest;
  }
}

std::string LineOfCells(std::span<const std::string> cells, std::span<const std::size_t> widths,
                        std::string_view color) {
  const std::size_t last = cells.size() - 1;
  std::string line;
  for (std::size_t i = 0; i < last; ++i) {
    line.append(Padded(CutToWidth(cells[i], widths[i]), widths[i])).append(kGap);
  }
  line.append(color).append(CutToWidth(cells[last], widths[last]));
  if (!color.empty()) return line.append(kPlain) + '\n';
  line.erase(line.find_last_not_of(' ') + 1);
  return line + '\n';
}

namespace {

std::size_t MergedWidth(std::span<const std::size_t> widths, TMerged merged) noexcept {
  const auto columns = widths.subspan(merged.from, merged.to - merged.from + 1);
  return std::accumulate(columns.begin(), columns.end(), kGap.size() * (columns.size() - 1));
}

}  // namespace

void MeasureMerged(std::span<const std::string> cells, TMerged merged,
                   std::span<std::size_t> widths) noexcept {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i < merged.from || i > merged.to) widths[i] = std::max(widths[i], DisplayWidth(cells[i]));
  }
  const std::size_t needed = DisplayWidth(cells[merged.from]);
  const std::size_t has = MergedWidth(widths, merged);
  if (needed > has) widths[merged.from] += needed - has;
}

std::string LineOfMerged(std::span<const std::string> cells, TMerged merged,
                         std::span<const std::size_t> widths, std::string_view color) {
  std::vector<std::string> left;
  std::vector<std::size_t> leftWidths;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > merged.from && i <= merged.to) continue;
    left.push_back(cells[i]);
    leftWidths.push_back(i == merged.from ? MergedWidth(widths, merged) : widths[i]);
  }
  return LineOfCells(left, leftWidths, color);
}

std::string CellOf(std::string_view text) {
  const std::string_view trimmed = Trim(text);
  return trimmed.empty() ? "-" : PlainLine(trimmed);
}

std::string VerdictCell(const TRecord& record) {
  std::string cell(NameOf(record.verdict));
  if (record.hasSameSource && Trim(record.installed) != Trim(record.offered)) {
    cell += " (same source)";
  }
  if (record.waived) cell += fmt::format(" (waived: {})", PlainLine(record.waived->reason));
  if (record.expiredWaiver) {
    cell += fmt::format(" (waiver expired {}: {})", PlainLine(record.expiredWaiver->expires),
                        PlainLine(record.expiredWaiver->reason));
  }
  return cell;
}

std::string_view ColorOf(const TRecord& record) noexcept {
  if (record.waived) return "\033[2m";
  switch (record.verdict) {
    case EVerdict::kOutdated:
      return "\033[1;33m";
    case EVerdict::kUnknown:
      return "\033[35m";
    case EVerdict::kNewer:
      return "\033[36m";
    case EVerdict::kCurrent:
      break;
  }
  return "\033[32m";
}

}  // namespace svc::report
