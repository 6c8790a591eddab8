// What changed, for a person at a terminal.
#include <fmt/format.h>

#include <string>

#include "report/columns.h"
#include "report/diff.h"
#include "report/text.h"

namespace svc::report {

namespace {

using TTable = TColumns<6>;

std::string Side(std::string_view word, const TReport& report, const std::string& name) {
  std::string text = fmt::format("{} {}: machine {}, {}", word, PlainLine(name),
                                 CellOf(report.machine.type), UtcTime(report.generated));
  if (report.catalogue.elements) {
    text += fmt::format(", {} update elements", *report.catalogue.elements);
  }
  return text + '\n';
}

// Both texts where they differ.
std::string Step(const std::string& before, const std::string& after) {
  return before == after ? after : before + " → " + after;
}

TTable::TRow RowOfChange(const TChange& change) {
  const TRecord& after = change.after != nullptr ? *change.after : *change.before;
  const TRecord& before = change.before != nullptr ? *change.before : after;
  return {std::string(NameOf(change.kind)),
          CellOf(after.type),
          CellOf(after.name),
          Step(CellOf(before.installed), CellOf(after.installed)),
          Step(CellOf(before.offered), CellOf(after.offered)),
          Step(VerdictCell(before), VerdictCell(after))};
}

void WriteChanges(const TDiff& diff, const TRenderOptions& options, IOutput& output) {
  const TTable::TRow titles = {"CHANGE", "TYPE", "NAME", "INSTALLED", "OFFERED", "VERDICT"};
  TTable table;
  table.Measure(titles);
  for (const TChange& change : diff.changes) table.Measure(RowOfChange(change));
  if (options.width != 0) table.Narrow(options.width);
  output.Write('\n' + table.Line(titles));
  for (const TChange& change : diff.changes) {
    const bool colored = options.color && change.after != nullptr;
    output.Write(
        table.Line(RowOfChange(change), colored ? ColorOf(*change.after) : std::string_view()));
  }
}

std::string LastLine(const TDiff& diff) {
  const std::string same =
      fmt::format("{} record{} the same", diff.same, diff.same == 1 ? " is" : "s are");
  if (diff.changes.empty()) return fmt::format("\nNothing changed: {}.\n", same);
  std::string counts;
  for (const EChange kind : {EChange::kChanged, EChange::kAdded, EChange::kRemoved}) {
    if (const std::size_t count = diff.Count(kind); count > 0) {
      counts += fmt::format("{}{} {}", counts.empty() ? "" : ", ", count, NameOf(kind));
    }
  }
  return fmt::format("\n{}; {}.\n", counts, same);
}

}  // namespace

void RenderDiffTable(const TDiff& diff, const TRenderOptions& options, IOutput& output) {
  output.Write(Side("Old", diff.before, diff.beforeName) + Side("New", diff.after, diff.afterName));
  if (!diff.changes.empty()) WriteChanges(diff, options, output);
  output.Write(LastLine(diff));
}

}  // namespace svc::report
