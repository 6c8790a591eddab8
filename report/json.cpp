// The report for programs. Its members keep their order, so that two reports compare as texts.
#include "report/records.h"

#include <fmt/format.h>

#include <string>

#include "report/selection.h"
#include "report/text.h"

namespace svc::report {

namespace {

void WriteTool(const TReport& report, TJsonWriter& json) {
  json.Object("tool").Text("name", report.tool).Text("version", report.toolVersion);
  if (!report.plugin.empty()) {
    json.Object("plugin").Text("name", report.plugin).Text("version", report.pluginVersion).End();
  }
  json.End();
}

void WriteOsKnown(const TReport& report, TJsonWriter& json) {
  json.Name("osKnown");
  report.osKnown ? json.Written(*report.osKnown ? "true" : "false") : json.Null();
}

void WriteHead(const TReport& report, const TSummary& summary, TJsonWriter& json) {
  json.Object(kJsonDocument).Number("schema", kSchema);
  WriteTool(report, json);
  json.Text("generated", UtcTime(report.generated));
  WriteMachine(report.machine, json.Name("machine"));
  WriteSystem(report.system, json.Name("operatingSystem"));
  WriteOsKnown(report, json);
  WriteCatalogue(report.catalogue, json.Name("catalogue"));
  WriteEnd(report, summary, json);
  if (report.timings.empty()) return;
  json.Object("timings", kJsonSpaced);
  for (const TPhase& phase : report.timings) {
    json.AnyName(phase.name).Written(fmt::format("{:.6f}", phase.seconds));
  }
  json.End();
}

void AddUpdate(const TRecord& record, TJsonWriter& json) {
  if (!record.update) return;
  const TUpdate& update = *record.update;
  json.Object("update").Text("name", update.name).TextOrNull("package", update.package);
  json.Text("file", update.file).Number("line", update.line).End();
}

void WriteRecord(const TRecord& record, TJsonWriter& json) {
  json.Object();
  AddTexts(record, json);
  AddVerdict(record, json);
  if (record.verdict == EVerdict::kUnknown && record.why) {
    json.Text("reason", TextOf(*record.why));
  }
  if (record.hasSameSource) json.Name("sameSource").Written("true");
  AddUpdate(record, json);
  json.End();
}

// A document that goes out as it is written.
struct TStream {
  IOutput& output;
  std::string text = {};
  TJsonWriter json{text};

  void Flush() {
    output.Write(text);
    text.clear();
  }
};

void WriteNotCompared(const TReport& report, const TJsonLayout& layout, TStream& stream) {
  TJsonWriter& json = stream.json;
  if (report.coverage) json.Number("installed", report.coverage->installed);
  json.List("notCompared", layout);
  if (report.coverage) {
    for (const TPiece& piece : report.coverage->notCompared) {
      json.Object().Text("type", piece.type).Text("name", piece.name);
      json.TextOrNull("version", piece.version).Text("reason", RowOf(piece.why).name).End();
      stream.Flush();
    }
  }
  json.End();
}

void WriteHidden(const TReport& report, TJsonWriter& json) {
  if (const auto hidden = CountHidden(report)) json.Number("hidden", *hidden);
}

void AddAcceptance(std::string_view name, const std::optional<TAcceptance>& acceptance,
                   TJsonWriter& json) {
  if (!acceptance) return;
  json.Object(name).Text("reason", acceptance->reason).TextIfAny("expires", acceptance->expires);
  json.End();
}

}  // namespace

void RenderJson(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const TSummary summary = Summarize(report);
  TStream stream{output};
  TJsonWriter& json = stream.json;
  WriteHead(report, summary, json);
  json.Texts("notices", Notices(report, options)).List("records", kJsonRows);
  for (const TRecord& record : ShownIn(report)) {
    WriteRecord(record, json);
    stream.Flush();
  }
  json.End();
  WriteHidden(report, json);
  if (report.driversLeftOut) json.Number("driversLeftOut", *report.driversLeftOut);
  WriteNotCompared(report, kJsonRows, stream);
  WriteSummary(summary, report.hasWaivers, json.Name("summary"));
  json.Texts("errors", report.errors).End();
  stream.text += '\n';
  stream.Flush();
}

// The records, then one line without a "Type" that says how the check ended.
void RenderNdjson(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const TSummary summary = Summarize(report);
  TStream stream{output};
  TJsonWriter& json = stream.json;
  for (const TRecord& record : ShownIn(report)) {
    WriteRecord(record, json);
    stream.text += '\n';
    stream.Flush();
  }
  json.Object();
  WriteEnd(report, summary, json);
  json.Text("generated", UtcTime(report.generated));
  WriteMachine(report.machine, json.Name("machine"));
  WriteOsKnown(report, json);
  json.Texts("notices", Notices(report, options));
  WriteHidden(report, json);
  WriteNotCompared(report, kJsonTight, stream);
  WriteSummary(summary, report.hasWaivers, json.Name("summary"));
  json.Texts("errors", report.errors).End();
  stream.text += '\n';
  stream.Flush();
}

void AddTexts(const TRecord& record, TJsonWriter& json) {
  json.Text("Type", record.type).Text("Name", record.name);
  json.Text("InstalledVersion", record.installed).Text("SVVersion", record.offered);
}

void AddVerdict(const TRecord& record, TJsonWriter& json) {
  json.Text("verdict", NameOf(record.verdict));
  if (record.release) {
    json.TextIfAny("urgency", record.release->urgency);
    json.TextIfAny("releaseDate", record.release->date);
    json.TextIfAny("releaseNotes", record.release->notes);
  }
  AddAcceptance("waived", record.waived, json);
  AddAcceptance("expiredWaiver", record.expiredWaiver, json);
}

void WriteEnd(const TReport& report, const TSummary& summary, TJsonWriter& json) {
  json.Text("outcome", RowOf(report.outcome).name);
  json.Text("state", NameOf(StateOf(report, summary)));
  json.TextIfAny("stateReason", StateReason(report, summary));
}

void WriteMachine(const TMachine& machine, TJsonWriter& json) {
  json.Object().Text("type", machine.type).TextIfAny("manufacturer", machine.manufacturer);
  json.TextIfAny("model", machine.model).TextIfAny("serialNumber", machine.serialNumber);
  json.TextIfAny("host", machine.host).End();
}

void WriteSystem(const TOperatingSystem& system, TJsonWriter& json) {
  json.Object().Text("caption", system.caption).TextIfAny("version", system.version);
  json.TextIfAny("platform", system.platform).End();
}

void WriteCatalogue(const TCatalogue& catalogue, TJsonWriter& json) {
  json.Object().Text("source", catalogue.source).Text("path", catalogue.path).Name("elements");
  catalogue.elements ? json.Number(*catalogue.elements) : json.Null();
  if (catalogue.modified) json.Text("modified", UtcTime(*catalogue.modified));
  if (catalogue.date) json.Text("date", UtcTime(*catalogue.date));
  json.End();
}

void WriteSummary(const TSummary& summary, bool withWaived, TJsonWriter& json) {
  json.Object();
  for (const EVerdict verdict : kVerdicts) json.Number(NameOf(verdict), summary.Of(verdict));
  json.Number("compared", summary.compared);
  if (withWaived) {
    json.Number("waived", summary.waived).Number("expiredWaivers", summary.expiredWaivers);
  }
  json.End();
}

}  // namespace svc::report
