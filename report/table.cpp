// The report for a person at a terminal.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>

#include "report/ascii.h"
#include "report/render.h"
#include "report/text.h"

namespace svc::report {

namespace {

constexpr std::size_t kColumns = 5;
constexpr std::array<std::string_view, kColumns> kTitles = {"TYPE", "NAME", "INSTALLED", "OFFERED",
                                                            "VERDICT"};
constexpr std::string_view kGap = "  ";

using TRow = std::array<std::string, kColumns>;
using TWidths = std::array<std::size_t, kColumns>;

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

std::string Cell(std::string_view text) {
  const std::string_view trimmed = Trim(text);
  return trimmed.empty() ? "-" : PlainLine(trimmed);
}

std::string VerdictCell(const TRecord& record) {
  std::string cell(NameOf(record.verdict));
  if (record.waived) cell += " (waived: " + PlainLine(record.waived->reason) + ")";
  return cell;
}

TRow RowOfRecord(const TRecord& record) {
  return {Cell(record.type), Cell(record.name), Cell(record.installed), Cell(record.offered),
          VerdictCell(record)};
}

// A first walk over the records, so that no row is kept.
TWidths MeasureColumns(const TReport& report) {
  TWidths widths;
  for (std::size_t i = 0; i < kColumns; ++i) widths[i] = DisplayWidth(kTitles[i]);
  for (const TRecord& record : report.records) {
    const TRow row = RowOfRecord(record);
    for (std::size_t i = 0; i < kColumns; ++i) {
      widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
  }
  return widths;
}

std::size_t TotalWidth(const TWidths& widths) noexcept {
  std::size_t total = kGap.size() * (kColumns - 1);
  for (const std::size_t width : widths) total += width;
  return total;
}

// Takes from the widest column until the row fits, down to a width that still tells something.
void Narrow(TWidths& widths, std::size_t columns) {
  constexpr std::size_t kLeast = 8;
  while (TotalWidth(widths) > columns) {
    const auto widest = std::max_element(widths.begin(), widths.end());
    if (*widest <= kLeast) return;
    --*widest;
  }
}

template <typename TTexts>
std::string Line(const TTexts& texts, const TWidths& widths, std::string_view color) {
  std::string line;
  for (std::size_t i = 0; i < kColumns; ++i) {
    const bool last = i + 1 == kColumns;
    const std::string text = CutToWidth(texts[i], widths[i]);
    if (last && !color.empty()) line += color;
    line += text;
    if (last && !color.empty()) line += "\033[0m";
    if (!last) line.append(widths[i] - DisplayWidth(text), ' ').append(kGap);
  }
  return line + '\n';
}

std::string Heading(const TReport& report) {
  std::string text =
      "Machine " + (report.machine.type.empty() ? "unknown" : PlainLine(report.machine.type));
  if (!report.machine.model.empty()) text += " (" + PlainLine(report.machine.model) + ")";
  if (!report.system.caption.empty()) text += ", " + PlainLine(report.system.caption);
  text += "\nCatalogue " + PlainLine(report.catalogue.path);
  if (report.catalogue.elements)
    text += fmt::format(", {} update elements", *report.catalogue.elements);
  if (report.catalogue.modified) {
    text += ", " + Age(report.generated - *report.catalogue.modified) + " old";
  }
  return text + "\n\n";
}

std::string LastLine(const TReport& report) {
  if (!WasCompared(report.outcome)) return {};
  const std::size_t count = report.records.size();
  if (count == 0) return fmt::format("No records. {}\n", ReasonForNothing(report));
  return fmt::format("\n{} record{}: {}.\n", count, count == 1 ? "" : "s",
                     Sentence(Summarize(report)));
}

std::string Errors(const TReport& report) {
  if (WasCompared(report.outcome) && report.errors.empty()) return {};
  std::string text = report.records.empty() ? "" : "\n";
  if (!WasCompared(report.outcome)) {
    text += fmt::format("NOT CHECKED: {}\n", RowOf(report.outcome).sentence);
  }
  for (const std::string& error : report.errors) text += "  " + PlainLine(error) + '\n';
  return text;
}

}  // namespace

void RenderTable(const TReport& report, const TRenderOptions& options, IOutput& output) {
  output.Write(Heading(report));
  if (!report.records.empty()) {
    TWidths widths = MeasureColumns(report);
    if (options.width != 0) Narrow(widths, options.width);
    output.Write(Line(kTitles, widths, {}));
    for (const TRecord& record : report.records) {
      output.Write(
          Line(RowOfRecord(record), widths, options.color ? ColorOf(record) : std::string_view()));
    }
  }
  output.Write(Errors(report));
  output.Write(LastLine(report));
}

}  // namespace svc::report
