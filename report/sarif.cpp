// The report as results of an analysis: SARIF 2.1.0 (OASIS). A rule a verdict; a result a record,
// at its place in the catalogue.
#include <fmt/format.h>

#include <array>
#include <string>

#include "base/json_writer.h"
#include "report/model.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

namespace {

constexpr std::string_view kBase = "CATALOGUE";  // What addresses of files begin at.

// A rule and its results: only what fails has a level (3.27.10).
struct TRule {
  EVerdict verdict;
  std::string_view name;
  std::string_view meaning;
  std::string_view kind;
  std::string_view level;
};
constexpr std::array kRules = {
    TRule{EVerdict::kOutdated, "Outdated", "The catalogue offers a later version.", "fail",
          "warning"},
    TRule{EVerdict::kUnknown, "Unknown", "The versions could not be compared.", "open", "none"},
    TRule{EVerdict::kNewer, "Newer", "What is installed is later than what is offered.",
          "informational", "none"},
    TRule{EVerdict::kCurrent, "Current", "What is installed is what the catalogue offers.", "pass",
          "none"}};
static_assert(kRules.size() == kVerdicts.size());

// Braces are placeholders and "](" makes a link where they are not escaped (3.11.5, 3.11.6).
std::string MessageText(std::string_view text) {
  std::string escaped;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '{' || text[i] == '}') escaped += text[i];
    if (text.substr(i).starts_with("](")) escaped += '\\';
    escaped += text[i];
  }
  return escaped;
}

// The characters of a path that an address has as they are (RFC 3986); "\" parts folders on
// Windows.
std::string AddressOf(std::string_view path) {
  constexpr std::string_view kPlain = "-._~/";
  std::string address;
  for (const char c : path) {
    if ((IsAlphanumeric(c) && static_cast<unsigned char>(c) < 0x80) ||
        kPlain.find(c) != kPlain.npos) {
      address += c;
    } else if (c == '\\') {
      address += '/';
    } else {
      address += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return address;
}

std::string FolderAddress(std::string_view path) {
  std::string address = AddressOf(path);
  if (!address.starts_with('/')) address.insert(0, 1, '/');
  return "file://" + address + (address.ends_with('/') ? "" : "/");
}

bool HasFolder(const TReport& report) {
  return report.catalogue.source == "folder" && !report.catalogue.path.empty();
}

void AddMessage(std::string_view name, std::string_view text, TJsonWriter& json) {
  json.Object(name).Text("text", text).End();
}

void AddTool(const TReport& report, TJsonWriter& json) {
  json.Object("tool").Object("driver").Text("name", report.tool);
  json.TextIfAny("version", report.toolVersion).List("rules");
  for (const TRule& rule : kRules) {
    json.Object().Text("id", NameOf(rule.verdict)).Text("name", rule.name);
    AddMessage("shortDescription", rule.meaning, json);
    json.Object("defaultConfiguration").Text("level", rule.level).End().End();
  }
  json.End().End().End();
}

void AddNotifications(const TReport& report, const TRenderOptions& options, TJsonWriter& json) {
  const auto add = [&](std::string_view level, std::string_view id, std::string_view text) {
    json.Object().Text("level", level);
    AddMessage("message", MessageText(text), json);
    json.Object("descriptor").Text("id", id).End().End();
  };
  const TSummary summary = Summarize(report);
  const EState state = StateOf(report, summary);
  const std::string_view level = state == EState::kFailed ? "error" : "note";
  const TOutcomeRow& row = RowOf(report.outcome);
  json.List("toolExecutionNotifications");
  if (state == EState::kFailed) add(level, row.name, row.sentence);
  if (state == EState::kNothingCompared) add(level, NameOf(state), StateReason(report, summary));
  for (const std::string& error : report.errors) add(level, row.name, error);
  for (const std::string& notice : Notices(report, options)) add("warning", "notice", notice);
  if (report.coverage) add("note", "coverage", Sentence(*report.coverage));
  json.End();
}

// Whether the check took place, and what is to be known of it.
void AddInvocation(const TReport& report, const TRenderOptions& options, TJsonWriter& json) {
  const bool compared = WasCompared(report.outcome);
  json.List("invocations")
      .Object()
      .Name("executionSuccessful")
      .Written(compared ? "true" : "false");
  json.Text("endTimeUtc", UtcTime(report.generated)).TextIfAny("machine", report.machine.host);
  AddNotifications(report, options, json);
  json.End().End();
}

void AddLocation(const TReport& report, const TRecord& record, TJsonWriter& json) {
  const TUpdate* const update = record.update.get();
  std::string_view file = HasFolder(report) ? "index.xml" : "";
  if (update != nullptr && !update->file.empty()) file = update->file;
  json.List("locations").Object();
  if (!file.empty()) {
    json.Object("physicalLocation").Object("artifactLocation").Text("uri", AddressOf(file));
    if (HasFolder(report)) json.Text("uriBaseId", kBase);
    json.End();
    if (update != nullptr && update->line > 0) {
      json.Object("region").Number("startLine", update->line).End();
    }
    json.End();
  }
  json.List("logicalLocations").Object().Text("name", record.name);
  json.Text("fullyQualifiedName", record.type + "/" + record.name).Text("kind", "resource");
  json.End().End().End().End();
}

std::string SentenceOn(const TRecord& record) {
  const auto shown = [](std::string_view text) {
    const std::string_view trimmed = Trim(text);
    return trimmed.empty() ? std::string_view("nothing") : trimmed;
  };
  std::string text =
      fmt::format("{} {} is {}: installed {}, offered {}", record.type, record.name,
                  NameOf(record.verdict), shown(record.installed), shown(record.offered));
  if (record.verdict == EVerdict::kUnknown && record.why) {
    text += "; " + std::string(TextOf(*record.why));
  }
  if (record.expiredWaiver) {
    text += fmt::format("; waiver expired {}: {}", record.expiredWaiver->expires,
                        record.expiredWaiver->reason);
  }
  return text + ".";
}

// Either all results say whether they are suppressed or none does (3.27.23).
void AddSuppressions(const TRecord& record, TJsonWriter& json) {
  json.List("suppressions");
  if (record.waived) {
    json.Object().Text("kind", "external").Text("status", "accepted");
    json.Text("justification", record.waived->reason);
    if (!record.waived->expires.empty()) {
      json.Object("properties").Text("expires", record.waived->expires).End();
    }
    json.End();
  }
  json.End();
}

void AddResult(const TReport& report, const TRecord& record, TJsonWriter& json) {
  const std::size_t index = IndexOf(record.verdict);
  const TRule& rule = kRules[index];
  json.Object().Text("ruleId", NameOf(rule.verdict)).Number("ruleIndex", index);
  json.Text("kind", rule.kind).Text("level", rule.level);
  AddMessage("message", MessageText(SentenceOn(record)), json);
  AddLocation(report, record, json);
  if (report.hasWaivers) AddSuppressions(record, json);
  json.Object("properties");
  AddTexts(record, json);
  json.End().End();
}

void AddMachine(const TReport& report, TJsonWriter& json) {
  json.Object("properties");
  WriteMachine(report.machine, json.Name("machine"));
  WriteSystem(report.system, json.Name("operatingSystem"));
  WriteCatalogue(report.catalogue, json.Name("catalogue"));
  json.Text("outcome", RowOf(report.outcome).name).End();
}

}  // namespace

void RenderSarif(const TReport& report, const TRenderOptions& options, IOutput& output) {
  std::string text;
  TJsonWriter json(text);
  json.Object(kJsonDocument).Text("$schema", "https://json.schemastore.org/sarif-2.1.0.json");
  json.Text("version", "2.1.0").List("runs").Object(kJsonLines);
  AddTool(report, json);
  AddInvocation(report, options, json);
  if (HasFolder(report)) {
    json.Object("originalUriBaseIds").Object(kBase);
    json.Text("uri", FolderAddress(report.catalogue.path)).End().End();
  }
  json.List("results", kJsonRows);
  for (const TRecord& record : ShownIn(report)) {
    AddResult(report, record, json);
    output.Write(text);
    text.clear();
  }
  json.End();
  AddMachine(report, json);
  json.End().End().End();
  output.Write(text + '\n');
}

}  // namespace svc::report
