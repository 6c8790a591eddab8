// The report as a bill of materials: CycloneDX 1.6 (ECMA-424). The machine is what it is about, its
// firmware and drivers are components, and what a comparison found stands in their properties.
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <string>

#include "base/json_writer.h"
#include "base/shown_text.h"
#include "report/model.h"
#include "report/records.h"
#include "report/selection.h"
#include "report/text.h"

namespace svc::report {

constexpr std::string_view kMachine = "machine";  // How others refer to it.

// The schema takes so many characters of a version.
static std::string_view VersionPart(std::string_view text) noexcept {
  constexpr std::size_t kMost = 1024;
  std::string_view rest = text;
  for (std::size_t i = 0; i < kMost && !rest.empty(); ++i) {
    rest.remove_prefix(FirstCodePoint(rest).size);
  }
  return text.substr(0, text.size() - rest.size());
}

// Software of another kind is an "application", which says least.
static std::string_view KindOf(std::string_view type) noexcept {
  if (type == "Firmware") return "firmware";
  return type == "Driver" ? "device-driver" : "application";
}

// Names of properties have the name of whose they are in front.
static void AddProperty(std::string_view name, std::string_view value, TJsonWriter& json) {
  json.Object().Text("name", "svcheck:" + std::string(name)).Text("value", value).End();
}

static void AddPropertyIfAny(std::string_view name, std::string_view value, TJsonWriter& json) {
  if (!value.empty()) AddProperty(name, value, json);
}

static void AddComponent(std::string_view kind, std::string_view reference, std::string_view name,
                         std::string_view version, TJsonWriter& json) {
  json.Object().Text("type", kind).Text("bom-ref", reference).Text("name", name);
  json.TextIfAny("version", VersionPart(version));
}

static void AddAcceptance(const std::string& name, const std::optional<TAcceptance>& acceptance,
                          TJsonWriter& json) {
  if (!acceptance) return;
  AddProperty(name, acceptance->reason, json);
  AddPropertyIfAny(name + ":expires", acceptance->expires, json);
}

static void AddRecord(const TRecord& record, std::size_t number, TJsonWriter& json) {
  AddComponent(KindOf(record.type), "record-" + std::to_string(number), record.name,
               Trim(record.installed), json);
  json.List("properties");
  AddProperty("type", record.type, json);
  AddProperty("verdict", NameOf(record.verdict), json);
  if (record.verdict == EVerdict::kUnknown && record.why) {
    AddProperty("reason", TextOf(*record.why), json);
  }
  AddProperty("offered", record.offered, json);
  if (record.update) {
    AddPropertyIfAny("update", record.update->name, json);
    AddPropertyIfAny("package", record.update->package, json);
  }
  AddAcceptance("waived", record.waived, json);
  AddAcceptance("expiredWaiver", record.expiredWaiver, json);
  json.End().End();
}

static void AddPiece(const TPiece& piece, std::size_t number, TJsonWriter& json) {
  AddComponent(KindOf(piece.type), "installed-" + std::to_string(number), piece.name,
               Trim(piece.version), json);
  json.List("properties");
  AddProperty("type", piece.type, json);
  AddProperty("notCompared", RowOf(piece.why).name, json);
  json.End().End();
}

static void AddMachine(const TReport& report, TJsonWriter& json) {
  const TMachine& machine = report.machine;
  const std::string_view name = !machine.host.empty()    ? machine.host
                                : !machine.model.empty() ? machine.model
                                                         : machine.type;
  AddComponent("device", kMachine, name, {}, json.Name("component"));
  if (!machine.manufacturer.empty()) {
    json.Object("manufacturer").Text("name", machine.manufacturer).End();
  }
  json.List("properties");
  AddPropertyIfAny("machineType", machine.type, json);
  AddPropertyIfAny("model", machine.model, json);
  AddPropertyIfAny("serialNumber", machine.serialNumber, json);
  json.End().End();
}

static void AddMetadata(const TReport& report, TJsonWriter& json) {
  json.Object("metadata").Text("timestamp", UtcTime(report.generated));
  json.Object("tools").List("components").Object().Text("type", "application");
  json.Text("name", report.tool).TextIfAny("version", VersionPart(report.toolVersion));
  json.End().End().End();
  AddMachine(report, json);
  json.End();
}

// What the report says of the check, and whether it took place.
static void AddProperties(const TReport& report, const TRenderOptions& options, TJsonWriter& json) {
  const TSummary summary = Summarize(report);
  json.List("properties", kJsonRows);
  AddProperty("outcome", RowOf(report.outcome).name, json);
  AddProperty("state", NameOf(StateOf(report, summary)), json);
  AddPropertyIfAny("stateReason", StateReason(report, summary), json);
  for (const std::string& notice : Notices(report, options)) AddProperty("notice", notice, json);
  AddPropertyIfAny("catalogue", report.catalogue.path, json);
  if (report.catalogue.modified) {
    AddProperty("catalogueModified", UtcTime(*report.catalogue.modified), json);
  }
  for (const std::string& error : report.errors) AddProperty("error", error, json);
  json.End();
}

// The same report has the same number, another one another.
static std::string SerialNumber(const TReport& report, const std::string& metadata) {
  const std::string about = metadata + std::string(RowOf(report.outcome).name) +
                            Sentence(Summarize(report)) + HiddenNotice(report);
  const boost::uuids::name_generator_sha1 hash(boost::uuids::ns::oid());
  return "urn:uuid:" + boost::uuids::to_string(hash(about));
}

static void WriteHead(const TReport& report, TJsonWriter& json) {
  std::string metadata;
  TJsonWriter own(metadata);
  own.Object();
  AddMetadata(report, own);
  own.End();
  json.Object(kJsonDocument).Text("$schema", "http://cyclonedx.org/schema/bom-1.6.schema.json");
  json.Text("bomFormat", "CycloneDX").Text("specVersion", "1.6");
  json.Text("serialNumber", SerialNumber(report, metadata)).Number("version", 1);
  AddMetadata(report, json);
}

// Whether the components are all there are. "incomplete" where pieces without a record were not
// looked at, or records are hidden; otherwise "unknown", for an inventory may leave things out.
static void AddCompositions(const TReport& report, TJsonWriter& json) {
  json.List("compositions").Object();
  const bool isWhole = report.coverage && CountHidden(report).value_or(0) == 0;
  json.Text("aggregate", isWhole ? "unknown" : "incomplete");
  json.Texts("assemblies", {std::string(kMachine)}).End().End();
}

static void WriteComponents(const TReport& report, std::string& text, TJsonWriter& json,
                            IOutput& output) {
  const auto flush = [&] {
    output.Write(text);
    text.clear();
  };
  json.List("components", kJsonRows);
  if (!report.system.caption.empty()) {
    AddComponent("operating-system", "system", report.system.caption, report.system.version, json);
    json.End();
  }
  // A component has the same reference whatever is shown beside it.
  const TRecordRange records = ShownIn(report);
  for (auto record = records.begin(); record != records.end(); ++record) {
    AddRecord(*record, record.Number() + 1, json);
    flush();
  }
  if (report.coverage) {
    std::size_t number = 0;
    for (const TPiece& piece : report.coverage->notCompared) {
      AddPiece(piece, ++number, json);
      flush();
    }
  }
  json.End();
}

void RenderCycloneDx(const TReport& report, const TRenderOptions& options, IOutput& output) {
  std::string text;
  TJsonWriter json(text);
  WriteHead(report, json);
  WriteComponents(report, text, json, output);
  AddCompositions(report, json);
  AddProperties(report, options, json);
  json.End();
  output.Write(text + '\n');
}

}  // namespace svc::report
