#include "svcheck/verbs/explanation.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "base/wording.h"
#include "report/text.h"
#include "rules/names.h"
#include "svcheck/session/instances.h"

namespace svc {

namespace {

// What became of an element, in the order of the summary.
enum class EFate { kRecord, kNoRecord, kNoComponent, kOtherSystem, kOtherMachine, kCount };
constexpr std::array<std::string_view, static_cast<std::size_t>(EFate::kCount)> kFates = {
    "with firmware in the report", "with firmware that gave no record", "without firmware",
    "for other operating systems", "for other machine types"};

std::string Quoted(std::string_view text) { return '"' + report::PlainLine(text) + '"'; }

// Whether a path leads to a file of that name, with or without an ending.
bool LeadsTo(std::string_view path, std::string_view name) {
  const std::string_view file = path.substr(path.find_last_of("/\\") + 1);
  return report::ContainsAnyCase(file.substr(0, name.size()), name) &&
         (file.size() == name.size() || file[name.size()] == '.');
}

// The elements of an array, without the braces of its text.
std::string ListOf(const TElementTrace& element, std::string_view property) {
  const std::string text = TextOf(*element.instance, property);
  std::string_view list = text;
  if (list.starts_with('{') && list.ends_with('}')) list = list.substr(1, list.size() - 2);
  list = report::Trim(list);
  return list.empty() ? "none" : report::PlainLine(list);
}

EFate FateOf(const TElementTrace& element) {
  if (element.tests == 0) return element.systemTested ? EFate::kOtherSystem : EFate::kOtherMachine;
  if (!element.records.empty()) return EFate::kRecord;
  return element.held.empty() ? EFate::kNoComponent : EFate::kNoRecord;
}

class TExplanation {
 public:
  TExplanation(const TExplained& explained, report::IOutput& output)
      : explained(explained), trace(explained.trace), output(output) {}
  void Write();

 private:
  template <typename... TArguments>
  void Line(fmt::format_string<TArguments...> format, TArguments&&... arguments) {
    output.Write(fmt::format(format, std::forward<TArguments>(arguments)...) + '\n');
  }

  void WriteElement(const TElementTrace& element);
  std::string Verdict(const TElementTrace& element) const;
  std::string WhyNoRecord(const TElementTrace& element) const;
  void WriteTests(const TElementTrace& element);
  void WriteReads(const TElementTrace& element);
  void WriteRecord(const report::TRecord& record);
  void WriteDriverFiles(const TElementTrace& element);
  bool IsInstalledText(const TElementTrace& element, const report::TRecord& record) const;

  void WriteDrivers();
  void WriteOffered(const TOfferedTrace& driver);
  std::string WhereIs(const TOfferedTrace& driver) const;
  void WriteNotOffered(const TInstalledTrace& driver);
  void WriteSummary();

  // Valid until the next call; null when there is no such record.
  const report::TRecord* RecordOf(std::size_t number) const {
    if (number >= explained.records.Count()) return nullptr;
    explained.records.Read(number, current);
    return &current;
  }
  bool IsWanted(std::string_view text) const {
    return report::ContainsAnyCase(text, explained.component);
  }
  bool IsWanted(const TElementTrace& element) const;
  bool IsWanted(const TOfferedTrace& driver) const;

  const TExplained& explained;
  const TQueryTrace& trace;
  report::IOutput& output;
  mutable report::TRecord current;
  bool shown = false;
};

void TExplanation::Write() {
  for (const TElementTrace& element : trace.Elements()) {
    if (IsWanted(element)) WriteElement(element);
  }
  WriteDrivers();
  if (!explained.component.empty() && !shown) {
    Line("No update element and no driver goes by {}.\n", Quoted(explained.component));
  }
  WriteSummary();
}

bool TExplanation::IsWanted(const TElementTrace& element) const {
  for (const std::string_view property :
       {rules::kUpdateName, rules::kUpdateDescription, rules::kUpdateDriverFiles}) {
    if (IsWanted(TextOf(*element.instance, property))) return true;
  }
  return std::any_of(element.records.begin(), element.records.end(), [&](std::size_t number) {
    const report::TRecord* const record = RecordOf(number);
    return record != nullptr && IsWanted(record->name);
  });
}

bool TExplanation::IsWanted(const TOfferedTrace& driver) const { return IsWanted(driver.name); }

void TExplanation::WriteElement(const TElementTrace& element) {
  shown = true;
  const std::string name = TextOf(*element.instance, rules::kUpdateName);
  const std::string description = TextOf(*element.instance, rules::kUpdateDescription);
  Line("{}", report::PlainLine(name.empty() || description.empty() ? name + description
                                                                   : name + ": " + description));
  Line("  {}", Verdict(element));
  if (element.tests > 0) {
    WriteTests(element);
    WriteReads(element);
    for (const std::string& remark : element.remarks) Line("    note: {}", remark);
    for (const std::size_t number : element.records) {
      const report::TRecord* const record = RecordOf(number);
      if (record == nullptr) continue;
      WriteRecord(*record);
      if (IsInstalledText(element, *record)) {
        Line("      no text of the element holds that: what is installed is shown as offered");
      }
    }
    WriteDriverFiles(element);
  }
  Line("");
}

std::string TExplanation::Verdict(const TElementTrace& element) const {
  switch (FateOf(element)) {
    case EFate::kOtherMachine:
      return fmt::format("Not for machine type {}: it is for {}.",
                         report::PlainLine(explained.machineType),
                         ListOf(element, rules::kUpdateMachineTypes));
    case EFate::kOtherSystem:
      return fmt::format("Not for this operating system: it is for {}.",
                         ListOf(element, rules::kUpdateSystems));
    case EFate::kNoComponent:
      return fmt::format("No firmware: none of {} tests found a component that it updates.",
                         element.tests);
    case EFate::kNoRecord:
      return "No firmware record: " + WhyNoRecord(element) + ".";
    case EFate::kRecord:
    case EFate::kCount:
      break;
  }
  return "In the report.";
}

std::string TExplanation::WhyNoRecord(const TElementTrace& element) const {
  if (!element.remarks.empty()) return element.remarks.back();
  if (element.reads.empty()) {
    return fmt::format("its {} was recognised, but none of {} held", element.held.back().property,
                       Counted(element.tests - element.held.back().position, "further test"));
  }
  std::string missing;
  std::map<std::string, bool> isEmpty;  // What was read of a property last counts.
  for (const TInventoryRead& read : element.reads) {
    if (read.properties.empty() && !report::ContainsAnyCase(missing, read.className)) {
      missing += " " + read.className;
    }
    for (const auto& [instance, property] : read.properties) {
      isEmpty[read.className + "." + property] = TextOf(*instance, property).empty();
    }
  }
  if (!missing.empty()) return "the inventory has no instance of" + missing;
  std::string empty;
  for (const auto& [name, nothingRead] : isEmpty) {
    if (nothingRead) empty += " " + name;
  }
  return "nothing installed fits it" + (empty.empty() ? "" : "; empty in the inventory is" + empty);
}

void TExplanation::WriteTests(const TElementTrace& element) {
  for (const THeldTest& test : element.held) {
    Line("    test {} held: {} {}", test.position, test.property,
         Quoted(TextOf(*element.instance, test.property)));
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
}

void TExplanation::WriteRecord(const report::TRecord& record) {
  Line("    record: {}, installed {}, offered {}", Quoted(record.name), Quoted(record.installed),
       Quoted(record.offered));
}

// Adapters' versions come out of the driver files, or else from what is installed.
bool TExplanation::IsInstalledText(const TElementTrace& element,
                                   const report::TRecord& record) const {
  if (record.offered.empty() || record.offered != record.installed) return false;
  bool fromDriverFiles = false;
  for (const std::string& property : element.texts) {
    if (report::ContainsAnyCase(TextOf(*element.instance, property), record.offered)) return false;
    fromDriverFiles = fromDriverFiles || property == rules::kUpdateDriverFiles;
  }
  return fromDriverFiles;
}

void TExplanation::WriteDriverFiles(const TElementTrace& element) {
  const std::string files = TextOf(*element.instance, rules::kUpdateDriverFiles);
  if (files.empty() || element.driverReads == 0) return;
  if (element.driverReads > 1) {
    Line("    offers the drivers {}", Quoted(files));
  } else {
    Line("    its drivers {} are not for this operating system, but for {}", Quoted(files),
         ListOf(element, rules::kUpdateSystems));
  }
}

void TExplanation::WriteDrivers() {
  for (const TOfferedTrace& driver : trace.Offered()) {
    if (!driver.name.empty() && IsWanted(driver)) WriteOffered(driver);
  }
  if (explained.component.empty()) return;
  for (const TInstalledTrace& driver : trace.Installed()) {
    const bool isWanted = IsWanted(TextOf(*driver.instance, rules::kDriverPath));
    if (isWanted && !driver.matched) WriteNotOffered(driver);
  }
}

void TExplanation::WriteOffered(const TOfferedTrace& driver) {
  shown = true;
  Line("offered driver {}", report::PlainLine(driver.name));
  Line("  {}", WhereIs(driver));
  for (const std::size_t number : driver.records) {
    if (const report::TRecord* const record = RecordOf(number)) WriteRecord(*record);
  }
  Line("");
}

std::string TExplanation::WhereIs(const TOfferedTrace& driver) const {
  if (!driver.records.empty()) return "In the report.";
  for (const TInstalledTrace& candidate : trace.Installed()) {
    if (candidate.running) continue;
    const std::string path = TextOf(*candidate.instance, rules::kDriverPath);
    if (!LeadsTo(path, driver.name)) continue;
    return fmt::format(
        "No record: no driver of that name runs. Installed, with the state {}, is {}.",
        Quoted(TextOf(*candidate.instance, rules::kDriverState)), Quoted(path));
  }
  return "No record: no driver of that name is installed.";
}

void TExplanation::WriteNotOffered(const TInstalledTrace& driver) {
  shown = true;
  Line("installed driver {}", Quoted(TextOf(*driver.instance, rules::kDriverPath)));
  if (driver.running) {
    Line("  No record: no element that applies offers it.\n");
  } else {
    Line("  No record: it is not running, its state is {}.\n",
         Quoted(TextOf(*driver.instance, rules::kDriverState)));
  }
}

void TExplanation::WriteSummary() {
  std::array<std::size_t, static_cast<std::size_t>(EFate::kCount)> counts{};
  for (const TElementTrace& element : trace.Elements()) {
    ++counts[static_cast<std::size_t>(FateOf(element))];
  }
  Line("Of {}:", Counted(trace.Elements().size(), "update element"));
  for (std::size_t fate = 0; fate < counts.size(); ++fate) {
    if (counts[fate] > 0) Line("{:>7} {}", counts[fate], kFates[fate]);
  }
  const auto running = std::count_if(trace.Installed().begin(), trace.Installed().end(),
                                     [](const TInstalledTrace& driver) { return driver.running; });
  const auto matched =
      std::count_if(trace.Offered().begin(), trace.Offered().end(),
                    [](const TOfferedTrace& driver) { return !driver.records.empty(); });
  if (trace.Installed().empty()) {
    Line("No installed driver is in the inventory: offered drivers were compared with none.");
  } else if (trace.Offered().empty()) {
    Line("No driver is offered for this operating system.");
  } else {
    Line("Of {} {} {} in the report; {} of {} {}.",
         Counted(trace.Offered().size(), "offered driver"), matched, matched == 1 ? "is" : "are",
         running, Counted(trace.Installed().size(), "installed one"),
         running == 1 ? "runs" : "run");
  }
}

}  // namespace

void WriteExplanation(const TExplained& explained, report::IOutput& output) {
  TExplanation(explained, output).Write();
}

}  // namespace svc
