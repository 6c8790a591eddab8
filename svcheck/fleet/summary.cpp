#include "svcheck/fleet/summary.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <tuple>

#include "report/model.h"
#include "svcheck/fleet/result_lines.h"

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
  TVerdictCounts found{};
  while (const auto line = TakeLine(lines)) {
    if (IsLast(*line)) {
      AddLast(*line, found);
      continue;
    }
    const TVerdictCounts one = AddRecord(*line);
    for (std::size_t i = 0; i < found.size(); ++i) found[i] += one[i];
  }
}

TVerdictCounts TSummary::AddRecord(std::string_view line) {
  const TWrittenRecord record = WrittenRecordOf(line);
  const auto verdict = report::VerdictOfName(*record.verdict);
  if (!verdict) throw std::runtime_error("an unknown verdict: " + std::string(line.substr(0, 60)));
  key = *record.type;
  key += kBetween;
  key += *record.name;
  ++components[key][IndexOf(*verdict)];
  ++verdicts[IndexOf(*verdict)];
  TVerdictCounts one{};
  one[IndexOf(*verdict)] = 1;
  return one;
}

void TSummary::AddLast(std::string_view line, const TVerdictCounts& found) {
  ++machines;
  const std::string_view outcome = Demand(line, "outcome");
  const auto known = report::OutcomeOfName(outcome);
  if (!known || !report::WasCompared(*known)) {
    const auto errors = ErrorsOf(line);
    failed.push_back({MachineOf(line), std::string(outcome),
                      errors.empty() ? std::string() : Unescaped(errors.front())});
    return;
  }
  const bool isOutdated = found[IndexOf(EVerdict::kOutdated)] > 0;
  outdatedMachines += isOutdated ? 1 : 0;
  TTypeCounts& type = machineTypes[Unescaped(Demand(line, "machineType"))];
  ++type.machines;
  type.outdatedMachines += isOutdated ? 1 : 0;
  for (std::size_t i = 0; i < found.size(); ++i) type.verdicts[i] += found[i];
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

}  // namespace svc::fleet
