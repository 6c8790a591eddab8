#include "report/json_parts.h"

#include <fmt/format.h>

#include "report/text.h"

namespace svc::report {

namespace {

// Collects the members of one object.
class TObject {
 public:
  TObject& Text(std::string_view name, std::string_view value) {
    return Raw(name, JsonString(value));
  }
  TObject& TextIfAny(std::string_view name, std::string_view value) {
    return value.empty() ? *this : Text(name, value);
  }
  TObject& Raw(std::string_view name, std::string_view value) {
    members += fmt::format("{}\"{}\":{}", members.empty() ? "" : ",", name, value);
    return *this;
  }
  std::string Done() const { return "{" + members + "}"; }

 private:
  std::string members;
};

TObject RawRecord(const TRecord& record) {
  return TObject()
      .Text("Type", record.type)
      .Text("Name", record.name)
      .Text("InstalledVersion", record.installed)
      .Text("SVVersion", record.offered);
}

}  // namespace

std::string JsonOfRawRecord(const TRecord& record) { return RawRecord(record).Done(); }

std::string JsonOfRecord(const TRecord& record) {
  TObject object = RawRecord(record);
  object.Text("verdict", NameOf(record.verdict));
  if (record.waived) {
    object.Raw("waived", TObject()
                             .Text("reason", record.waived->reason)
                             .TextIfAny("expires", record.waived->expires)
                             .Done());
  }
  return object.Done();
}

std::string JsonOfTool(const TReport& report) {
  TObject object;
  object.Text("name", report.tool).Text("version", report.toolVersion);
  if (!report.plugin.empty()) {
    object.Raw("plugin",
               TObject().Text("name", report.plugin).Text("version", report.pluginVersion).Done());
  }
  return object.Done();
}

std::string JsonOfMachine(const TMachine& machine) {
  return TObject()
      .Text("type", machine.type)
      .TextIfAny("manufacturer", machine.manufacturer)
      .TextIfAny("model", machine.model)
      .TextIfAny("serialNumber", machine.serialNumber)
      .Done();
}

std::string JsonOfSystem(const TOperatingSystem& system) {
  return TObject()
      .Text("caption", system.caption)
      .TextIfAny("version", system.version)
      .TextIfAny("platform", system.platform)
      .Done();
}

std::string JsonOfCatalogue(const TCatalogue& catalogue) {
  TObject object;
  object.Text("source", catalogue.source).Text("path", catalogue.path);
  object.Raw("elements", catalogue.elements ? std::to_string(*catalogue.elements) : "null");
  if (catalogue.modified) object.Text("modified", UtcTime(*catalogue.modified));
  return object.Done();
}

std::string JsonOfSummary(const TSummary& summary, bool withWaived) {
  TObject object;
  for (const EVerdict verdict : kVerdicts) {
    object.Raw(NameOf(verdict), std::to_string(summary.Of(verdict)));
  }
  if (withWaived) object.Raw("waived", std::to_string(summary.waived));
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
