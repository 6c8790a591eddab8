// The report for a person at a terminal.
#include <fmt/format.h>

#include <string>

#include "report/columns.h"
#include "report/records.h"
#include "report/render.h"
#include "report/text.h"

namespace svc::report {

namespace {

using TTable = TColumns<5>;

TTable::TRow RowOfRecord(const TRecord& record) {
  return {CellOf(record.type), CellOf(record.name), CellOf(record.installed),
          CellOf(record.offered), VerdictCell(record)};
}

std::string Heading(const TReport& report) {
  std::string text =
      "Machine " + (report.machine.type.empty() ? "unknown" : PlainLine(report.machine.type));
  if (!report.machine.model.empty()) text += " (" + PlainLine(report.machine.model) + ")";
  if (!report.system.caption.empty()) text += ", " + PlainLine(report.system.caption);
  text += "\nCatalogue " + PlainLine(report.catalogue.path);
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
  const TTable::TRow titles = {"TYPE", "NAME", "INSTALLED", "OFFERED", "VERDICT"};
  TTable table;
  table.Measure(titles);
  for (const TRecord& record : RecordsOf(report)) table.Measure(RowOfRecord(record));
  if (options.width != 0) table.Narrow(options.width);
  output.Write(table.Line(titles));
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
