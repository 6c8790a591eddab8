// What changed, for programs.
#include <fmt/format.h>

#include <string>

#include "report/diff.h"
#include "report/json_parts.h"
#include "report/text.h"

namespace svc::report {

namespace {

std::string Side(const TReport& report, const std::string& name) {
  return TJsonObject()
      .Text("file", name)
      .Text("generated", UtcTime(report.generated))
      .Raw("machine", JsonOfMachine(report.machine))
      .Raw("operatingSystem", JsonOfSystem(report.system))
      .Raw("catalogue", JsonOfCatalogue(report.catalogue))
      .Text("outcome", RowOf(report.outcome).name)
      .Done();
}

std::string State(const TRecord* record) {
  if (record == nullptr) return "null";
  TJsonObject object;
  object.Text("InstalledVersion", record->installed).Text("SVVersion", record->offered);
  AddVerdict(*record, object);
  return object.Done();
}

std::string JsonOfChange(const TChange& change) {
  const TRecord& record = change.after != nullptr ? *change.after : *change.before;
  return TJsonObject()
      .Text("change", NameOf(change.kind))
      .Text("Type", record.type)
      .Text("Name", record.name)
      .Raw("old", State(change.before))
      .Raw("new", State(change.after))
      .Done();
}

}  // namespace

void RenderDiffJson(const TDiff& diff, const TRenderOptions& /*options*/, IOutput& output) {
  output.Write(
      fmt::format("{{\n  \"schema\": {},\n  \"old\": {},\n  \"new\": {},\n  \"changes\": [",
                  kSchema, Side(diff.before, diff.beforeName), Side(diff.after, diff.afterName)));
  std::string_view separator = "\n    ";
  for (const TChange& change : diff.changes) {
    output.Write(separator);
    output.Write(JsonOfChange(change));
    separator = ",\n    ";
  }
  output.Write(diff.changes.empty() ? "],\n" : "\n  ],\n");
  TJsonObject summary;
  for (const EChange kind : {EChange::kChanged, EChange::kAdded, EChange::kRemoved}) {
    summary.Number(NameOf(kind), diff.Count(kind));
  }
  output.Write("  \"summary\": " + summary.Number("same", diff.same).Done() + "\n}\n");
}

}  // namespace svc::report
