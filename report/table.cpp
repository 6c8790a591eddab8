// The records as a table: for a person at a terminal, and for a spreadsheet.
#include <fmt/format.h>

#include <string>

#include "report/columns.h"
#include "report/model.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

// The records for a spreadsheet: RFC 4180.

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
  if (report.catalogue.modified) {
    text += ", " + Age(report.generated - *report.catalogue.modified) + " old";
  }
  return text + "\n\n";
}

std::string Errors(const TReport& report) {
  std::string text;
  if (!RecordsOf(report).empty() && !report.errors.empty()) text += '\n';
  for (const std::string& error : report.errors) text += "  " + PlainLine(error) + '\n';
  return text;
}

std::string LastLine(const TReport& report) {
  if (!WasCompared(report.outcome)) {
    return fmt::format("NOT CHECKED: {}\n", RowOf(report.outcome).sentence);
  }
  const std::size_t count = RecordsOf(report).size();
  if (count == 0) return fmt::format("No records. {}\n", ReasonForNothing(report));
  return fmt::format("\n{} record{}: {}.\n", count, count == 1 ? "" : "s",
                     Sentence(Summarize(report)));
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
  output.Write(Heading(report));
  if (!RecordsOf(report).empty()) WriteRecords(report, options, output);
  output.Write(Errors(report));
  output.Write(LastLine(report));
}

}  // namespace svc::report
