// An explanation for a person.
#include <fmt/format.h>

#include <set>
#include <utility>

#include "base/shown_text.h"
#include "report/text.h"
#include "rules/names.h"
#include "svcheck/session/instances.h"
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

}  // namespace

void WriteExplanation(const TExplained& explained, report::IOutput& output) {
  TExplanation(explained, output).Write();
}

}  // namespace svc
