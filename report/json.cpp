// The report for programs. Its members keep their order, so that two reports compare as texts.
#include <fmt/format.h>
#include <algorithm>
#include <string>

#include "report/json.h"
#include "report/model.h"
#include "report/records.h"
#include "report/text.h"
#include "runtime/hskcore/json_text.h"

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

namespace {

char* Write(char* at, std::string_view text) { return std::copy(text.begin(), text.end(), at); }

}  // namespace

TJsonObject& TJsonObject::Text(std::string_view name, std::string_view value) {
  char* at = Begin(name, value.size() * kLongestJsonByte + 2);
  *at++ = '"';
  at = WriteJsonText(at, value);
  *at++ = '"';
  return End(at);
}

TJsonObject& TJsonObject::TextIfAny(std::string_view name, std::string_view value) {
  return value.empty() ? *this : Text(name, value);
}

TJsonObject& TJsonObject::Raw(std::string_view name, std::string_view value) {
  return End(Write(Begin(name, value.size()), value));
}

char* TJsonObject::Begin(std::string_view name, std::size_t mostBytes) {
  constexpr std::string_view kAround = ",\"\":";
  const bool isFirst = text.back() == '{';
  const std::size_t size = text.size();
  text.resize(size + kAround.size() + name.size() + mostBytes);
  char* at = text.data() + size;
  if (!isFirst) *at++ = ',';
  *at++ = '"';
  return Write(Write(at, name), "\":");
}

TJsonObject& TJsonObject::End(const char* end) {
  text.resize(static_cast<std::size_t>(end - text.data()));
  return *this;
}

TJsonObject& TJsonObject::Number(std::string_view name, std::size_t value) {
  return Raw(name, std::to_string(value));
}

namespace {

std::string JsonOfAcceptance(const TAcceptance& acceptance) {
  return TJsonObject()
      .Text("reason", acceptance.reason)
      .TextIfAny("expires", acceptance.expires)
      .Done();
}

void AddRawRecord(const TRecord& record, TJsonObject& object) {
  object.Text("Type", record.type)
      .Text("Name", record.name)
      .Text("InstalledVersion", record.installed)
      .Text("SVVersion", record.offered);
}

}  // namespace

std::string JsonOfRawRecord(const TRecord& record) {
  TJsonObject object;
  AddRawRecord(record, object);
  return object.Done();
}

std::string JsonOfRecord(const TRecord& record) {
  TJsonObject object;
  AddRecord(record, object);
  return object.Done();
}

void AddRecord(const TRecord& record, TJsonObject& object) {
  AddRawRecord(record, object);
  AddVerdict(record, object);
}

void AddVerdict(const TRecord& record, TJsonObject& object) {
  object.Text("verdict", NameOf(record.verdict));
  if (record.waived) object.Raw("waived", JsonOfAcceptance(*record.waived));
  if (record.expiredWaiver) object.Raw("expiredWaiver", JsonOfAcceptance(*record.expiredWaiver));
}

std::string JsonOfTool(const TReport& report) {
  TJsonObject object;
  object.Text("name", report.tool).Text("version", report.toolVersion);
  if (!report.plugin.empty()) {
    object.Raw(
        "plugin",
        TJsonObject().Text("name", report.plugin).Text("version", report.pluginVersion).Done());
  }
  return object.Done();
}

std::string JsonOfMachine(const TMachine& machine) {
  return TJsonObject()
      .Text("type", machine.type)
      .TextIfAny("manufacturer", machine.manufacturer)
      .TextIfAny("model", machine.model)
      .TextIfAny("serialNumber", machine.serialNumber)
      .Done();
}

std::string JsonOfSystem(const TOperatingSystem& system) {
  return TJsonObject()
      .Text("caption", system.caption)
      .TextIfAny("version", system.version)
      .TextIfAny("platform", system.platform)
      .Done();
}

std::string JsonOfCatalogue(const TCatalogue& catalogue) {
  TJsonObject object;
  object.Text("source", catalogue.source).Text("path", catalogue.path);
  object.Raw("elements", catalogue.elements ? std::to_string(*catalogue.elements) : "null");
  if (catalogue.modified) object.Text("modified", UtcTime(*catalogue.modified));
  return object.Done();
}

std::string JsonOfSummary(const TSummary& summary, bool withWaived) {
  TJsonObject object;
  for (const EVerdict verdict : kVerdicts) {
    object.Number(NameOf(verdict), summary.Of(verdict));
  }
  if (withWaived) {
    object.Number("waived", summary.waived).Number("expiredWaivers", summary.expiredWaivers);
  }
  return object.Done();
}

std::string JsonOfTexts(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) {
    if (!list.empty()) list += ',';
    list += JsonString(text);
  }
  return "[" + list + "]";
}

}  // namespace svc::report
