#include "svcheck/fleet/summary.h"

#include <fmt/format.h>
#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <stdexcept>
#include <tuple>

#include "base/json_writer.h"
#include "base/shown_text.h"
#include "report/table.h"
#include "report/text.h"

namespace svc::fleet {

using report::EVerdict;
using report::IndexOf;

namespace {

// No text as JSON writes it holds one.
constexpr char kBetween = '\n';

[[noreturn]] void RefuseWithout(std::string_view name, std::string_view line) {
  throw std::runtime_error("a line of the results has no \"" + std::string(name) +
                           "\": " + std::string(line.substr(0, 60)));
}

std::string_view Demand(std::string_view line, std::string_view name) {
  const auto written = MemberOf(line, name);
  if (!written) RefuseWithout(name, line);
  return *written;
}

// What is counted of a record.
struct TWrittenRecord {
  std::optional<std::string_view> type;
  std::optional<std::string_view> name;
  std::optional<std::string_view> verdict;
};

TWrittenRecord WrittenRecordOf(std::string_view line) {
  TWrittenRecord record;
  TTextMembers members(line);
  while (const auto member = members.Next()) {
    if (member->name == "Type") record.type = member->written;
    if (member->name == "Name") record.name = member->written;
    if (member->name == "verdict") record.verdict = member->written;
  }
  if (!record.type) RefuseWithout("Type", line);
  if (!record.name) RefuseWithout("Name", line);
  if (!record.verdict) RefuseWithout("verdict", line);
  return record;
}

}  // namespace

void TSummary::Add(std::string_view lines) {
  one.records.clear();
  one.found = {};
  one.waived = 0;
  one.isNothingCompared = false;
  one.type = nullptr;
  Count(lines, one);
  AddCounted(one);
}

void TSummary::Add(std::string_view lines, TCounted& counted) {
  if (!counted.isKnown) Count(lines, counted);
  counted.isKnown = true;
  AddCounted(counted);
}

void TSummary::Count(std::string_view lines, TCounted& counted) {
  while (const auto line = TakeLine(lines)) {
    if (IsLast(*line)) {
      CountLast(*line, counted);
    } else {
      CountRecord(*line, counted);
    }
  }
}

void TSummary::CountRecord(std::string_view line, TCounted& counted) {
  if (IsWaived(line)) {
    ++counted.waived;
    return;
  }
  const TWrittenRecord record = WrittenRecordOf(line);
  const auto verdict = report::VerdictOfName(*record.verdict);
  if (!verdict) throw std::runtime_error("an unknown verdict: " + std::string(line.substr(0, 60)));
  key = *record.type;
  key += kBetween;
  key += *record.name;
  counted.records.push_back({&components[key], IndexOf(*verdict)});
  ++counted.found[IndexOf(*verdict)];
}

void TSummary::CountLast(std::string_view line, TCounted& counted) {
  const std::string_view outcome = Demand(line, "outcome");
  const auto known = report::OutcomeOfName(outcome);
  if (!known || !report::WasCompared(*known)) {
    const auto errors = ErrorsOf(line);
    failed.push_back({MachineOf(line), std::string(outcome),
                      errors.empty() ? std::string() : Unescaped(errors.front())});
    return;
  }
  const auto state = MemberOf(line, "state");  // Earlier versions wrote none.
  counted.isNothingCompared = state == report::NameOf(report::EState::kNothingCompared);
  counted.type = &machineTypes[Unescaped(Demand(line, "machineType"))];
}

// Failures count their records, and not the machine's type.
void TSummary::AddCounted(const TCounted& counted) {
  ++machines;
  waived += counted.waived;
  for (const TCounted::TOne& record : counted.records) ++(*record.component)[record.verdict];
  for (std::size_t i = 0; i < verdicts.size(); ++i) verdicts[i] += counted.found[i];
  if (counted.type == nullptr) return;
  nothingCompared += counted.isNothingCompared ? 1 : 0;
  const std::uint64_t isOutdated = counted.found[IndexOf(EVerdict::kOutdated)] > 0 ? 1 : 0;
  outdatedMachines += isOutdated;
  counted.type->machines += 1;
  counted.type->outdatedMachines += isOutdated;
  for (std::size_t i = 0; i < counted.found.size(); ++i) {
    counted.type->verdicts[i] += counted.found[i];
  }
}

std::vector<TSummary::TComponent> TSummary::Components() const {
  std::vector<TComponent> list;
  for (const auto& [written, counts] : components) {
    const std::size_t end = written.find(kBetween);
    const std::string_view both = written;
    list.push_back({Unescaped(both.substr(0, end)), Unescaped(both.substr(end + 1)), counts});
  }
  std::sort(list.begin(), list.end(), [](const TComponent& a, const TComponent& b) {
    const std::size_t outdated = IndexOf(EVerdict::kOutdated);
    return std::tie(b.verdicts[outdated], a.type, a.name) <
           std::tie(a.verdicts[outdated], b.type, b.name);
  });
  return list;
}

TCondition ConditionOf(const std::string& text) {
  TCondition condition;
  std::vector<std::string> words;
  boost::split(words, text, boost::is_any_of(","));
  for (const std::string& word : words) {
    if (word == "failed") {
      condition.failed = true;
    } else {
      condition.records = condition.records | report::FailOnOfText(word).value();
    }
  }
  return condition;
}

bool Holds(const TCondition& condition, const TSummary& summary) {
  using report::EFailOn;
  const auto holds = [&](EFailOn one, std::uint64_t found) {
    return found > 0 && report::Includes(condition.records, one);
  };
  const TVerdictCounts& counts = summary.Verdicts();
  return (condition.failed && !summary.Failed().empty()) ||
         holds(EFailOn::kOutdated, counts[IndexOf(EVerdict::kOutdated)]) ||
         holds(EFailOn::kUnknown, counts[IndexOf(EVerdict::kUnknown)]) ||
         holds(EFailOn::kNewer, counts[IndexOf(EVerdict::kNewer)]) ||
         holds(EFailOn::kNothing, summary.NothingCompared());
}

// A fleet's summary for programs and for people.

using report::kVerdicts;
using report::PlainLine;

// So many rows of a list are shown to a person.
constexpr std::size_t kShown = 20;

static void WriteCounts(const TVerdictCounts& counts, TJsonWriter& json) {
  json.Object();
  for (const report::EVerdict verdict : kVerdicts) {
    json.Number(report::NameOf(verdict), counts[report::IndexOf(verdict)]);
  }
  json.End();
}

static void WriteHead(const TSummary& summary, TJsonWriter& json) {
  json.Object(kJsonDocument).Number("schema", 1).Number("machines", summary.Machines());
  json.Number("checked", summary.Machines() - summary.Failed().size());
  json.Number("failed", summary.Failed().size()).Number("withUpdates", summary.OutdatedMachines());
  WriteCounts(summary.Verdicts(), json.Name("verdicts"));
  json.Number("nothingCompared", summary.NothingCompared());
  if (summary.Waived() > 0) json.Number("waived", summary.Waived());
  if (!summary.Notices().empty()) json.Texts("notices", summary.Notices());
}

static std::string Row(const std::string& name, const TVerdictCounts& counts, std::size_t width) {
  std::string text = report::Padded(PlainLine(name), width);
  for (const std::uint64_t count : counts) text += fmt::format(" {:>10}", count);
  return text + '\n';
}

static std::string Heads(std::string_view name, std::size_t width) {
  std::string text = '\n' + report::Padded(std::string(name), width);
  for (const report::EVerdict verdict : kVerdicts) {
    text += fmt::format(" {:>10}", report::NameOf(verdict));
  }
  return text + '\n';
}

static void WriteRest(std::size_t count, std::string_view what, report::IOutput& output) {
  if (count <= kShown) return;
  output.Write(fmt::format("... and {} more\n", Counted(count - kShown, what)));
}

void WriteJson(const TSummary& summary, report::IOutput& output) {
  std::string text;
  TJsonWriter json(text);
  const auto endRow = [&] {
    json.End();
    output.Write(text);
    text.clear();
  };
  WriteHead(summary, json);
  json.List("components", kJsonRows);
  for (const TSummary::TComponent& component : summary.Components()) {
    json.Object().Text("Type", component.type).Text("Name", component.name);
    WriteCounts(component.verdicts, json.Name("verdicts"));
    endRow();
  }
  json.End().List("machineTypes", kJsonRows);
  for (const auto& [type, counts] : summary.MachineTypes()) {
    json.Object().Text("machineType", type).Number("machines", counts.machines);
    json.Number("withUpdates", counts.outdatedMachines);
    WriteCounts(counts.verdicts, json.Name("verdicts"));
    endRow();
  }
  json.End().List("failures", kJsonRows);
  for (const TFailedMachine& machine : summary.Failed()) {
    json.Object().Text("machine", machine.machine).Text("outcome", machine.outcome);
    json.Text("error", machine.cause);
    endRow();
  }
  json.End().End();
  output.Write(text + '\n');
}

void WriteTable(const TSummary& summary, report::IOutput& output) {
  constexpr std::size_t kWidth = 36;
  output.Write(fmt::format(
      "{} compared, {} with updates to install; {} failed{}\n",
      Counted(summary.Machines() - summary.Failed().size(), "machine"), summary.OutdatedMachines(),
      summary.Failed().size(),
      summary.Waived() == 0 ? "" : "; " + Counted(summary.Waived(), "record") + " waived"));
  if (summary.NothingCompared() > 0) {
    output.Write(fmt::format("NOTHING COMPARED: of {} no record could be ordered\n",
                             Counted(summary.NothingCompared(), "machine")));
  }
  for (const std::string& notice : summary.Notices()) output.Write(notice + '\n');
  output.Write(Heads("Machine type", kWidth));
  for (const auto& [type, counts] : summary.MachineTypes()) {
    output.Write(Row(fmt::format("{} ({})", type, Counted(counts.machines, "machine")),
                     counts.verdicts, kWidth));
  }
  output.Write(Row("all", summary.Verdicts(), kWidth));
  const auto components = summary.Components();
  output.Write(Heads("Component", kWidth));
  for (std::size_t i = 0; i < std::min(kShown, components.size()); ++i) {
    output.Write(
        Row(components[i].type + " " + components[i].name, components[i].verdicts, kWidth));
  }
  WriteRest(components.size(), "component", output);
  if (summary.Failed().empty()) return;
  output.Write("\nFailed\n");
  for (std::size_t i = 0; i < std::min(kShown, summary.Failed().size()); ++i) {
    const TFailedMachine& machine = summary.Failed()[i];
    output.Write(PlainLine(machine.machine + ": " + machine.outcome + ": " + machine.cause) + '\n');
  }
  WriteRest(summary.Failed().size(), "machine", output);
}

}  // namespace svc::fleet
