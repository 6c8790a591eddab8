// The records as a table: for a person at a terminal, and for a spreadsheet.
#include <fmt/format.h>

#include <string>

#include "report/columns.h"
#include "report/model.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

// The records for a spreadsheet: RFC 4180.

namespace {

// What the other formats say above or below their records.
void WriteCsvRemarks(const TReport& report, const TRenderOptions& options,
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

}  // namespace

// A check that did not take place is a record of its own: an empty table would look like good news.
void RenderCsv(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const auto field = [&](std::string_view text) { return CsvField(text, options.csv); };
  const std::string behind = ',' + field(report.machine.host) + "\r\n";
  output.Write("Type,Name,InstalledVersion,SVVersion,Verdict,Waived,WaiverExpired,Host\r\n");
  for (const TRecord& record : RecordsOf(report)) {
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
    output.Write(line + behind);
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

// The report for a person at a terminal.

namespace {

using TRecords = TTable<5>;

TRecords::TRow RowOfRecord(const TRecord& record) {
  return {CellOf(record.type), CellOf(record.name), CellOf(record.installed),
          CellOf(record.offered), VerdictCell(record)};
}

std::string Heading(const TReport& report) {
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
std::string Headline(const TReport& report, const TSummary& summary) {
  if (StateOf(report, summary) != EState::kNothingCompared) return {};
  return "NOTHING COMPARED: " + PlainLine(StateReason(report, summary)) + ".\n\n";
}

std::string Remarks(const TReport& report, const TRenderOptions& options) {
  std::string text;
  const std::vector<std::string> notices = Notices(report, options);
  if (!RecordsOf(report).empty() && !(notices.empty() && report.errors.empty())) text += '\n';
  for (const std::string& notice : notices) text += "  " + notice + '\n';
  for (const std::string& error : report.errors) text += "  " + PlainLine(error) + '\n';
  return text;
}

std::string LastLines(const TReport& report, const TSummary& summary) {
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

void WriteRecords(const TReport& report, const TRenderOptions& options, IOutput& output) {
  TRecords table({"TYPE", "NAME", "INSTALLED", "OFFERED", "VERDICT"});
  for (const TRecord& record : RecordsOf(report)) table.Measure(RowOfRecord(record));
  if (options.width != 0) table.Narrow(options.width);
  output.Write(table.Heads());
  for (const TRecord& record : RecordsOf(report)) {
    output.Write(
        table.Line(RowOfRecord(record), options.color ? ColorOf(record) : std::string_view()));
  }
}

}  // namespace

void RenderTable(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const TSummary summary = Summarize(report);
  output.Write(Headline(report, summary) + Heading(report));
  if (!RecordsOf(report).empty()) WriteRecords(report, options, output);
  output.Write(Remarks(report, options));
  output.Write(LastLines(report, summary));
}

}  // namespace svc::report
