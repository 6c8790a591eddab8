// The report for programs. Its members keep their order, so that two reports compare as texts.
#include <fmt/format.h>

#include <string>

#include "report/json_parts.h"
#include "report/records.h"
#include "report/render.h"
#include "report/text.h"

namespace svc::report {

namespace {

// One member of the report's object on a line of its own.
void AddMember(std::string& text, std::string_view name, std::string_view value) {
  text += fmt::format("  \"{}\": {},\n", name, value);
}

std::string Timings(const TReport& report) {
  std::string text;
  for (const TPhase& phase : report.timings) {
    text += fmt::format("{}{}: {:.6f}", text.empty() ? "" : ", ", JsonString(phase.name),
                        phase.seconds);
  }
  return "{" + text + "}";
}

std::string Head(const TReport& report) {
  std::string text = "{\n";
  AddMember(text, "schema", std::to_string(kSchema));
  AddMember(text, "tool", JsonOfTool(report));
  AddMember(text, "generated", JsonString(UtcTime(report.generated)));
  AddMember(text, "machine", JsonOfMachine(report.machine));
  AddMember(text, "operatingSystem", JsonOfSystem(report.system));
  AddMember(text, "catalogue", JsonOfCatalogue(report.catalogue));
  AddMember(text, "outcome", JsonString(RowOf(report.outcome).name));
  if (!report.timings.empty()) AddMember(text, "timings", Timings(report));
  return text;
}

}  // namespace

void RenderJson(const TReport& report, const TRenderOptions& /*options*/, IOutput& output) {
  output.Write(Head(report) + "  \"records\": [");
  std::string_view separator = "\n    ";
  for (const TRecord& record : RecordsOf(report)) {
    output.Write(separator);
    output.Write(JsonOfRecord(record));
    separator = ",\n    ";
  }
  output.Write(RecordsOf(report).empty() ? "],\n" : "\n  ],\n");
  output.Write(fmt::format("  \"summary\": {},\n  \"errors\": {}\n}}\n",
                           JsonOfSummary(Summarize(report), report.hasWaivers),
                           JsonOfTexts(report.errors)));
}

// The records, then one line without a "Type" that says how the check ended.
void RenderNdjson(const TReport& report, const TRenderOptions& /*options*/, IOutput& output) {
  for (const TRecord& record : RecordsOf(report)) output.Write(JsonOfRecord(record) + '\n');
  output.Write(
      fmt::format(R"({{"outcome":{},"generated":{},"machine":{},"summary":{},"errors":{}}})"
                  "\n",
                  JsonString(RowOf(report.outcome).name), JsonString(UtcTime(report.generated)),
                  JsonOfMachine(report.machine),
                  JsonOfSummary(Summarize(report), report.hasWaivers), JsonOfTexts(report.errors)));
}

}  // namespace svc::report
