#include "report/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "report/records.h"
#include "report/text.h"

namespace svc::report {
constexpr std::string_view kGap = "  ";
constexpr std::string_view kPlain = "\033[0m";
// Nobody reads by columns what is wider than this; a long text widens no more of the other lines.
constexpr std::size_t kWidest = 1024;

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
    line.append(Padded(CutToWidth(cells[i], widths[i]), std::min(widths[i], kWidest)));
    line.append(kGap);
  }
  line.append(color).append(CutToWidth(cells[last], widths[last]));
  if (!color.empty()) return line.append(kPlain) + '\n';
  line.erase(line.find_last_not_of(' ') + 1);
  return line + '\n';
}

static std::size_t MergedWidth(std::span<const std::size_t> widths, TMerged merged) noexcept {
  const auto columns = widths.subspan(merged.from, merged.to - merged.from + 1);
  return std::accumulate(columns.begin(), columns.end(), kGap.size() * (columns.size() - 1));
}

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

// --- The records for a spreadsheet: RFC 4180 ---

static std::string UpdateFields(const TUpdate& update, ECsvTexts texts) {
  return CsvField(update.name, texts) + ',' + CsvField(update.package, texts) + ',' +
         CsvField(update.file, texts) + ',' + std::to_string(update.line) + "\r\n";
}

// What the other formats say above or below their records.
static void WriteCsvRemarks(const TReport& report, const TRenderOptions& options,
                            const std::string& behind, IOutput& output) {
  const auto write = [&](std::string_view text, std::string_view verdict) {
    output.Write(fmt::format("Notice,{},,,{},,{}", CsvField(text, options.csv), verdict, behind));
  };
  const TSummary summary = Summarize(report);
  if (StateOf(report, summary) == EState::kNothingCompared) {
    write(StateReason(report, summary), "nothing compared");
  }
  for (const std::string& notice : Notices(report, options)) write(notice, "notice");
}

// A check that did not take place is a record of its own: an empty table would look like good news.
void RenderCsv(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const auto field = [&](std::string_view text) { return CsvField(text, options.csv); };
  const std::string host = ',' + field(report.machine.host) + ',';
  const std::string behind = host + ",,,\r\n";
  output.Write(
      "Type,Name,InstalledVersion,SVVersion,Verdict,Waived,WaiverExpired,Host,"
      "Update,Package,File,Line\r\n");
  for (const TRecord& record : ShownIn(report)) {
    std::string line;
    for (const std::string* text :
         {&record.type, &record.name, &record.installed, &record.offered}) {
      line += field(*text) + ',';
    }
    line += NameOf(record.verdict);
    line += ',';
    if (record.waived) line += field(record.waived->reason);
    line += ',';
    if (record.expiredWaiver) line += field(record.expiredWaiver->expires);
    output.Write(line +
                 (record.update ? host + UpdateFields(*record.update, options.csv) : behind));
  }
  if (options.csvNotCompared && report.coverage) {
    for (const TPiece& piece : report.coverage->notCompared) {
      output.Write(fmt::format("{},{},{},,not compared: {},,{}", field(piece.type),
                               field(piece.name), field(piece.version), RowOf(piece.why).name,
                               behind));
    }
  }
  WriteCsvRemarks(report, options, behind, output);
  if (WasCompared(report.outcome)) return;
  output.Write("Error," + field(RowOf(report.outcome).sentence) + ",,,not checked,," + behind);
  for (const std::string& error : report.errors) {
    output.Write("Error," + field(error) + ",,,not checked,," + behind);
  }
}

// --- The report for a person at a terminal ---

// A line of so many columns has room for the update of each record.
constexpr std::size_t kWide = 120;

// Of a narrow table the update is not a column.
template <std::size_t kCount>
static typename TTable<kCount>::TRow RowOfRecord(const TRecord& record) {
  typename TTable<kCount>::TRow row = {CellOf(record.type), CellOf(record.name),
                                       CellOf(record.installed), CellOf(record.offered)};
  if constexpr (kCount == 6) row[4] = record.update ? CellOf(TitleOf(*record.update)) : "-";
  row[kCount - 1] = VerdictCell(record);
  return row;
}

// The title of a kernel's row names both releases, and takes the columns up to the offered one.
constexpr TMerged kNameToOffered = {1, 3};

template <std::size_t kCount>
static typename TTable<kCount>::TRow RowOfKernel(const TKernelRow& kernel) {
  typename TTable<kCount>::TRow row = RowOfRecord<kCount>(kernel.first);
  row[kNameToOffered.from] = TitleOf(kernel);
  if (kCount == 6 && !kernel.isOneUpdate) row[4] = "several";
  return row;
}

static std::string Heading(const TReport& report) {
  std::string text =
      "Machine " + (report.machine.type.empty() ? "unknown" : PlainLine(report.machine.type));
  if (!report.machine.model.empty()) text += " (" + PlainLine(report.machine.model) + ")";
  if (!report.machine.host.empty()) text += ", host " + PlainLine(report.machine.host);
  if (!report.system.caption.empty()) text += ", " + PlainLine(report.system.caption);
  text +=
      "\nCatalogue " + (report.catalogue.path.empty() ? "none" : PlainLine(report.catalogue.path));
  if (const auto elements = report.catalogue.elements)
    text += fmt::format(", {} update element{}", *elements, *elements == 1 ? "" : "s");
  if (const auto date = report.catalogue.Date()) {
    text += ", " + Age(report.generated - *date) + " old";
  }
  return text + "\n\n";
}

// Above all else, for whoever reads no further.
static std::string Headline(const TReport& report, const TSummary& summary) {
  if (StateOf(report, summary) != EState::kNothingCompared) return {};
  return "NOTHING COMPARED: " + PlainLine(StateReason(report, summary)) + ".\n\n";
}

static std::string Remarks(const TReport& report, const TRenderOptions& options) {
  std::string text;
  const std::vector<std::string> notices = Notices(report, options);
  if (!ShownIn(report).empty() && !(notices.empty() && report.errors.empty())) text += '\n';
  for (const std::string& notice : notices) text += "  " + notice + '\n';
  for (const std::string& error : report.errors) text += "  " + PlainLine(error) + '\n';
  return text;
}

static std::string LastLines(const TReport& report, const TSummary& summary) {
  if (!WasCompared(report.outcome)) {
    return fmt::format("NOT CHECKED: {}\n", RowOf(report.outcome).sentence);
  }
  const std::size_t count = RecordsOf(report).size();
  std::string text = count == 0 ? "No records.\n"
                                : fmt::format("\n{} record{}: {}.\n", count, count == 1 ? "" : "s",
                                              Sentence(summary));
  if (report.coverage) text += Sentence(*report.coverage) + '\n';
  return text;
}

template <std::size_t kCount>
static void WriteRecords(const TReport& report, const TRenderOptions& options,
                         const typename TTable<kCount>::TRow& titles, IOutput& output) {
  const TRecordRange shown = ShownIn(report);
  const TKernelRows kernels = options.unfold ? TKernelRows() : TKernelRows(shown);
  TTable<kCount> table(titles);
  ForEachRow(shown, kernels, [&](const TRecord& record, const TKernelRow* kernel) {
    if (kernel == nullptr) table.Measure(RowOfRecord<kCount>(record));
  });
  for (const TKernelRow& kernel : kernels.All()) {
    table.Measure(RowOfKernel<kCount>(kernel), kNameToOffered);
  }
  if (options.width != 0) table.Narrow(options.width);
  output.Write(table.Heads());
  ForEachRow(shown, kernels, [&](const TRecord& record, const TKernelRow* kernel) {
    const std::string_view color = options.color ? ColorOf(record) : std::string_view();
    output.Write(kernel == nullptr
                     ? table.Line(RowOfRecord<kCount>(record), color)
                     : table.Line(RowOfKernel<kCount>(*kernel), kNameToOffered, color));
  });
}

static void WriteRecords(const TReport& report, const TRenderOptions& options, IOutput& output) {
  if (options.width < kWide) {
    WriteRecords<5>(report, options, {"TYPE", "NAME", "INSTALLED", "OFFERED", "VERDICT"}, output);
  } else {
    WriteRecords<6>(report, options, {"TYPE", "NAME", "INSTALLED", "OFFERED", "UPDATE", "VERDICT"},
                    output);
  }
}

void RenderTable(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const TSummary summary = Summarize(report);
  output.Write(Headline(report, summary) + Heading(report));
  if (!ShownIn(report).empty()) WriteRecords(report, options, output);
  output.Write(Remarks(report, options));
  output.Write(LastLines(report, summary));
}

}  // namespace svc::report
