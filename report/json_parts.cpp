#include "report/json_parts.h"

#include "report/text.h"

namespace svc::report {

TJsonObject& TJsonObject::Text(std::string_view name, std::string_view value) {
  Begin(name);
  AppendJsonString(members, value);
  return *this;
}

TJsonObject& TJsonObject::TextIfAny(std::string_view name, std::string_view value) {
  return value.empty() ? *this : Text(name, value);
}

TJsonObject& TJsonObject::Raw(std::string_view name, std::string_view value) {
  Begin(name);
  members += value;
  return *this;
}

void TJsonObject::Begin(std::string_view name) {
  if (members.size() > 1) members += ',';
  members += '"';
  members += name;
  members += "\":";
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

TJsonObject RawRecord(const TRecord& record) {
  return TJsonObject()
      .Text("Type", record.type)
      .Text("Name", record.name)
      .Text("InstalledVersion", record.installed)
      .Text("SVVersion", record.offered);
}

}  // namespace

std::string JsonOfRawRecord(const TRecord& record) { return RawRecord(record).Done(); }

std::string JsonOfRecord(const TRecord& record) {
  TJsonObject object = RawRecord(record);
  AddVerdict(record, object);
  return object.Done();
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
