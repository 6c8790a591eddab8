#include "report/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "report/ascii.h"
#include "report/text.h"

namespace svc::report {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::string_view kPlain = "\033[0m";

}  // namespace

template <std::size_t kCount>
void TColumns<kCount>::Measure(const TRow& row) noexcept {
  for (std::size_t i = 0; i < kCount; ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
}

template <std::size_t kCount>
void TColumns<kCount>::Narrow(std::size_t width) noexcept {
  constexpr std::size_t kLeast = 8;
  const auto total = [&] {
    return std::accumulate(widths.begin(), widths.end(), kGap.size() * (kCount - 1));
  };
  while (total() > width) {
    const auto widest = std::max_element(widths.begin(), widths.end());
    if (*widest <= kLeast) return;
    --*widest;
  }
}

template <std::size_t kCount>
std::string TColumns<kCount>::Line(const TRow& row, std::string_view color) const {
  std::string line;
  for (std::size_t i = 0; i + 1 < kCount; ++i) {
    const std::string text = CutToWidth(row[i], widths[i]);
    line.append(text).append(widths[i] - DisplayWidth(text), ' ').append(kGap);
  }
  line.append(color).append(CutToWidth(row.back(), widths.back()));
  if (!color.empty()) line += kPlain;
  return line + '\n';
}

template class TColumns<5>;
template class TColumns<6>;

std::string CellOf(std::string_view text) {
  const std::string_view trimmed = Trim(text);
  return trimmed.empty() ? "-" : PlainLine(trimmed);
}

std::string VerdictCell(const TRecord& record) {
  std::string cell(NameOf(record.verdict));
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
