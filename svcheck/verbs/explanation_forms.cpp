// The forms of an explanation: a text for a person, JSON for programs.
#include <fmt/format.h>

#include <set>
#include <utility>

#include "base/json_writer.h"
#include "base/shown_text.h"
#include "report/records.h"
#include "report/text.h"
#include "rules/names.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/verbs/explanation.h"

namespace svc {
namespace {

std::string Quoted(std::string_view text) { return '"' + report::PlainLine(text) + '"'; }

class TExplanation {
 public:
  TExplanation(const TExplained& explained, report::IOutput& output)
      : explained(explained), trace(explained.trace), findings(explained), output(output) {}
  void Write();

 private:
  template <typename... TArguments>
  void Line(fmt::format_string<TArguments...> format, TArguments&&... arguments) {
    output.Write(fmt::format(format, std::forward<TArguments>(arguments)...) + '\n');
  }

  void WriteElement(const TElementTrace& element);
  void WriteTests(const TElementTrace& element);
  void WriteReads(const TElementTrace& element);
  void WriteRecords(const TElementTrace& element);
  void WriteRecord(const report::TRecord& record);
  void WriteDriverFiles(const TElementTrace& element);
  void WriteDrivers();
  void WriteOffered(const TOfferedTrace& driver);
  void WriteSummary();

  const TExplained& explained;
  const TQueryTrace& trace;
  TFindings findings;
  report::IOutput& output;
  bool shown = false;
};

void TExplanation::Write() {
  for (const TElementTrace& element : trace.Elements()) {
    if (findings.IsWanted(element)) WriteElement(element);
  }
  WriteDrivers();
  if (!explained.component.empty() && !shown) {
    Line("No update element and no driver goes by {}.\n", Quoted(explained.component));
  }
  WriteSummary();
}

void TExplanation::WriteElement(const TElementTrace& element) {
  shown = true;
  const std::string name = TextOf(*element.instance, rules::kUpdateName);
  const std::string description = TextOf(*element.instance, rules::kUpdateDescription);
  Line("{}", report::PlainLine(name.empty() || description.empty() ? name + description
                                                                   : name + ": " + description));
  Line("  {}", findings.SaidOf(element));
  if (element.tests > 0) {
    WriteTests(element);
    WriteReads(element);
    for (const std::string& remark : element.remarks) Line("    note: {}", remark);
    WriteRecords(element);
    WriteDriverFiles(element);
  }
  Line("");
}

void TExplanation::WriteTests(const TElementTrace& element) {
  for (const THeldTest& test : element.held) {
    Line("    test {} held: {} {} contains {}", LabelOf(test), test.property,
         Quoted(TextOf(*element.instance, test.property)), Quoted(WantedBy(test)));
  }
  if (!element.held.empty()) return;
  for (const std::string& property : element.asked) {
    Line("    tested: {} {}", property, Quoted(TextOf(*element.instance, property)));
  }
}

void TExplanation::WriteReads(const TElementTrace& element) {
  std::set<std::pair<TInstance, std::string>> told;
  for (const TInventoryRead& read : element.reads) {
    if (read.properties.empty()) Line("    installed: {}: no instance", read.className);
    for (const auto& [instance, property] : read.properties) {
      if (!told.emplace(instance, property).second) continue;
      Line("    installed: {}.{} {}", read.className, property,
           Quoted(TextOf(*instance, property)));
    }
  }
  for (const TKey& key : TFindings::KeysOf(element)) {
    Line("    looked for: {} {} in driverFiles {}", Quoted(key.wanted),
         key.isThere ? "is" : "is not", Quoted(key.files));
  }
  for (const std::string& property : element.texts) {
    if (property == rules::kUpdateDriverFiles) continue;
    Line("    offered: {} {}", property, Quoted(TextOf(*element.instance, property)));
  }
}

void TExplanation::WriteRecords(const TElementTrace& element) {
  for (const std::size_t number : element.records) {
    const report::TRecord* const record = findings.RecordOf(number);
    if (record == nullptr) continue;
    WriteRecord(*record);
    if (TFindings::IsInstalledText(element, *record)) {
      Line("      no text of the element holds that: what is installed is shown as offered");
    }
  }
}

void TExplanation::WriteRecord(const report::TRecord& record) {
  const std::string why = record.hasSameSource
                              ? ", both are built of the same source, by their srcversion"
                          : record.why ? fmt::format(", {}", report::TextOf(*record.why))
                                       : "";
  Line("    record: {}, installed {}, offered {}: {}{}", Quoted(record.name),
       Quoted(record.installed), Quoted(record.offered), report::NameOf(record.verdict), why);
}

void TExplanation::WriteDriverFiles(const TElementTrace& element) {
  const std::string files = TextOf(*element.instance, rules::kUpdateDriverFiles);
  if (files.empty() || element.driverReads == 0) return;
  if (element.driverReads > 1) {
    Line("    offers the drivers {}", Quoted(files));
  } else {
    Line("    its drivers {} are {}", Quoted(files), findings.WhyNoDrivers(element));
  }
}

void TExplanation::WriteDrivers() {
  trace.ForEachOffered([this](const TOfferedTrace& driver) {
    if (findings.IsWanted(driver)) WriteOffered(driver);
  });
  for (const TInstalledTrace& driver : trace.Installed()) {
    if (!findings.IsWanted(driver)) continue;
    shown = true;
    Line("installed driver {}", Quoted(TextOf(*driver.instance, rules::kDriverPath)));
    Line("  {}\n", TFindings::SaidOf(driver));
  }
}

void TExplanation::WriteOffered(const TOfferedTrace& driver) {
  shown = true;
  Line("offered driver {}", report::PlainLine(driver.name));
  Line("  {}", findings.SaidOf(driver));
  for (std::size_t i = 0; i < driver.records; ++i) {
    const report::TRecord* const record = findings.RecordOf(driver.first + i);
    if (record != nullptr) WriteRecord(*record);
  }
  Line("");
}

void TExplanation::WriteSummary() {
  const TCounts counts = findings.Count();
  Line("Of {}:", Counted(trace.Elements().size(), "update element"));
  for (std::size_t fate = 0; fate < kFates.size(); ++fate) {
    if (counts.elements[fate] > 0) Line("{:>7} {}", counts.elements[fate], kFates[fate].counted);
  }
  if (counts.installed == 0) {
    Line("No installed driver is in the inventory: offered drivers were compared with none.");
  } else if (counts.drivers == 0) {
    Line("No driver is offered for this operating system.");
  } else {
    Line("Of {} {} {} in the report; {} of {} {}.", Counted(counts.drivers, "offered driver"),
         counts.matched, counts.matched == 1 ? "is" : "are", counts.running,
         Counted(counts.installed, "installed one"), counts.running == 1 ? "runs" : "run");
  }
}

class TExplanationJson {
 public:
  TExplanationJson(const TExplained& explained, report::IOutput& output)
      : explained(explained), findings(explained), output(output) {}

  void Write() {
    json.Object(kJsonDocument).Number("schema", report::kSchema);
    json.Object("machine").Text("type", explained.machineType).End();
    json.Object("operatingSystem").Text("code", explained.systemCode).End();
    WriteEach("elements", explained.trace.Elements());
    json.List("drivers", kJsonRows);
    explained.trace.ForEachOffered([this](const TOfferedTrace& driver) { WriteIfWanted(driver); });
    json.End();
    WriteEach("notOffered", explained.trace.Installed());
    WriteSummary();
    json.End();
    output.Write(text + '\n');
  }

 private:
  template <typename TItem>
  void WriteEach(std::string_view name, const std::vector<TItem>& items) {
    json.List(name, kJsonRows);
    for (const TItem& item : items) WriteIfWanted(item);
    json.End();
  }

  template <typename TItem>
  void WriteIfWanted(const TItem& item) {
    if (!findings.IsWanted(item)) return;
    WriteItem(item);
    output.Write(text);
    text.clear();
  }

  void WriteItem(const TElementTrace& element);
  void WriteItem(const TOfferedTrace& driver);
  void WriteItem(const TInstalledTrace& driver);
  void WriteTests(const TElementTrace& element);
  void WriteReads(const TElementTrace& element);
  void WriteKeys(const TElementTrace& element);
  void WriteTexts(std::string_view name, const std::vector<std::string>& properties,
                  const TElementTrace& element);
  void WriteRecord(std::size_t number);
  void WriteSummary();

  const TExplained& explained;
  TFindings findings;
  report::IOutput& output;
  std::string text;
  TJsonWriter json{text};
};

void TExplanationJson::WriteItem(const TElementTrace& element) {
  json.Object().Text("name", TextOf(*element.instance, rules::kUpdateName));
  json.Text("description", TextOf(*element.instance, rules::kUpdateDescription));
  json.Text("fate", kFates[static_cast<std::size_t>(TFindings::FateOf(element))].name);
  json.Text("said", findings.SaidOf(element)).Number("testsMade", element.tests);
  WriteTests(element);
  WriteTexts("tested", element.asked, element);
  WriteReads(element);
  WriteKeys(element);
  WriteTexts("offered", element.texts, element);
  json.Texts("notes", element.remarks);
  json.List("records");
  for (const std::size_t number : element.records) WriteRecord(number);
  json.End();
  const std::string files = TextOf(*element.instance, rules::kUpdateDriverFiles);
  if (!files.empty() && element.driverReads > 0) {
    json.Object("drivers").Text("files", files);
    json.Name("isForSystem").Written(element.driverReads > 1 ? "true" : "false").End();
  }
  json.End();
}

void TExplanationJson::WriteTests(const TElementTrace& element) {
  json.List("held");
  for (const THeldTest& test : element.held) {
    json.Object().Text("test", LabelOf(test)).Text("property", test.property);
    json.Text("wanted", WantedBy(test));
    json.Text("found", TextOf(*element.instance, test.property)).End();
  }
  json.End();
}

void TExplanationJson::WriteTexts(std::string_view name, const std::vector<std::string>& properties,
                                  const TElementTrace& element) {
  json.Object(name);
  for (const std::string& property : properties) {
    json.AnyName(property).Text(TextOf(*element.instance, property));
  }
  json.End();
}

void TExplanationJson::WriteReads(const TElementTrace& element) {
  std::set<std::pair<TInstance, std::string>> told;
  json.List("installed");
  for (const TInventoryRead& read : element.reads) {
    if (read.properties.empty()) json.Object().Text("class", read.className).End();
    for (const auto& [instance, property] : read.properties) {
      if (!told.emplace(instance, property).second) continue;
      json.Object().Text("class", read.className).Text("property", property);
      json.Text("text", TextOf(*instance, property)).End();
    }
  }
  json.End();
}

void TExplanationJson::WriteKeys(const TElementTrace& element) {
  json.List("keys");
  for (const TKey& key : TFindings::KeysOf(element)) {
    json.Object().Text("wanted", key.wanted).Text("files", key.files);
    json.Name("isThere").Written(key.isThere ? "true" : "false").End();
  }
  json.End();
}

void TExplanationJson::WriteRecord(std::size_t number) {
  const report::TRecord* const record = findings.RecordOf(number);
  if (record == nullptr) return;
  json.Object();
  report::AddTexts(*record, json);
  json.Text("verdict", report::NameOf(record->verdict));
  if (record->why) json.Text("reason", report::TextOf(*record->why));
  if (record->hasSameSource) json.Name("sameSource").Written("true");
  json.End();
}

void TExplanationJson::WriteItem(const TOfferedTrace& driver) {
  json.Object().Text("name", driver.name).Text("said", findings.SaidOf(driver));
  json.List("records");
  for (std::size_t i = 0; i < driver.records; ++i) WriteRecord(driver.first + i);
  json.End().End();
}

void TExplanationJson::WriteItem(const TInstalledTrace& driver) {
  json.Object().Text("path", TextOf(*driver.instance, rules::kDriverPath));
  json.Text("said", TFindings::SaidOf(driver)).End();
}

void TExplanationJson::WriteSummary() {
  const TCounts counts = findings.Count();
  json.Object("summary").Number("elements", explained.trace.Elements().size());
  for (std::size_t fate = 0; fate < kFates.size(); ++fate) {
    json.Number(kFates[fate].name, counts.elements[fate]);
  }
  json.Number("offeredDrivers", counts.drivers).Number("matchedDrivers", counts.matched);
  json.Number("installedDrivers", counts.installed).Number("runningDrivers", counts.running).End();
}

}  // namespace

void WriteExplanation(const TExplained& explained, report::IOutput& output) {
  TExplanation(explained, output).Write();
}

void WriteExplanationJson(const TExplained& explained, report::IOutput& output) {
  TExplanationJson(explained, output).Write();
}

}  // namespace svc
