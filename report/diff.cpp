#include "report/diff.h"

#include <fmt/format.h>
#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "report/columns.h"
#include "report/json.h"
#include "report/text.h"

namespace svc::report {

namespace {

bool IsSameAcceptance(const std::optional<TAcceptance>& left,
                      const std::optional<TAcceptance>& right) {
  if (!left || !right) return left.has_value() == right.has_value();
  return left->reason == right->reason && left->expires == right->expires;
}

bool IsSame(const TRecord& left, const TRecord& right) {
  return left.installed == right.installed && left.offered == right.offered &&
         left.verdict == right.verdict && IsSameAcceptance(left.waived, right.waived) &&
         IsSameAcceptance(left.expiredWaiver, right.expiredWaiver);
}

// Who goes with whom, by the places of the records in their reports.
struct TPairing {
  std::vector<const TRecord*> partners;  // Of each later record; null for none.
  std::vector<const TRecord*> left;      // Each earlier record without a partner; null for others.
};

// Pairs records of equal keys, in their order.
template <typename TKeyOf>
void PairBy(const TKeyOf& keyOf, const TReport& after, TPairing& pairing) {
  std::map<decltype(keyOf(after.records.front())), std::deque<const TRecord**>> candidates;
  for (const TRecord*& record : pairing.left) {
    if (record != nullptr) candidates[keyOf(*record)].push_back(&record);
  }
  for (std::size_t i = 0; i < pairing.partners.size(); ++i) {
    if (pairing.partners[i] != nullptr) continue;
    const auto found = candidates.find(keyOf(after.records[i]));
    if (found == candidates.end() || found->second.empty()) continue;
    pairing.partners[i] = std::exchange(*found->second.front(), nullptr);
    found->second.pop_front();
  }
}

TPairing PairRecords(const TReport& before, const TReport& after) {
  TPairing pairing{std::vector<const TRecord*>(after.records.size()), {}};
  for (const TRecord& record : before.records) pairing.left.push_back(&record);
  const auto by = [&](const auto& keyOf) { PairBy(keyOf, after, pairing); };
  by([](const TRecord& r) { return std::tie(r.type, r.name, r.installed, r.offered); });
  by([](const TRecord& r) { return std::tie(r.type, r.name, r.offered); });
  by([](const TRecord& r) { return std::tie(r.type, r.name, r.installed); });
  by([](const TRecord& r) { return std::tie(r.type, r.name); });
  return pairing;
}

}  // namespace

std::size_t TDiff::Count(EChange kind) const noexcept {
  return static_cast<std::size_t>(std::count_if(
      changes.begin(), changes.end(), [&](const TChange& change) { return change.kind == kind; }));
}

TDiff CompareReports(const TReport& before, const TReport& after) {
  TDiff diff{before, after, {}, {}, {}, 0};
  const TPairing pairing = PairRecords(before, after);
  for (std::size_t i = 0; i < pairing.partners.size(); ++i) {
    const TRecord& record = after.records[i];
    const TRecord* const partner = pairing.partners[i];
    if (partner == nullptr) {
      diff.changes.push_back({EChange::kAdded, nullptr, &record});
    } else if (IsSame(*partner, record)) {
      ++diff.same;
    } else {
      diff.changes.push_back({EChange::kChanged, partner, &record});
    }
  }
  for (const TRecord* const record : pairing.left) {
    if (record != nullptr) diff.changes.push_back({EChange::kRemoved, record, nullptr});
  }
  return diff;
}

bool FailsOn(const TDiff& diff, EFailOn condition) noexcept {
  return std::any_of(diff.changes.begin(), diff.changes.end(), [&](const TChange& change) {
    return change.after != nullptr && FailsOn(*change.after, condition) &&
           (change.before == nullptr || !FailsOn(*change.before, condition));
  });
}

// What changed, for programs.

namespace {

std::string Side(const TReport& report, const std::string& name) {
  return TJsonObject()
      .Text("file", name)
      .Text("generated", UtcTime(report.generated))
      .Raw("machine", JsonOfMachine(report.machine))
      .Raw("operatingSystem", JsonOfSystem(report.system))
      .Raw("catalogue", JsonOfCatalogue(report.catalogue))
      .Text("outcome", RowOf(report.outcome).name)
      .Done();
}

std::string State(const TRecord* record) {
  if (record == nullptr) return "null";
  TJsonObject object;
  object.Text("InstalledVersion", record->installed).Text("SVVersion", record->offered);
  AddVerdict(*record, object);
  return object.Done();
}

std::string JsonOfChange(const TChange& change) {
  const TRecord& record = change.after != nullptr ? *change.after : *change.before;
  return TJsonObject()
      .Text("change", NameOf(change.kind))
      .Text("Type", record.type)
      .Text("Name", record.name)
      .Raw("old", State(change.before))
      .Raw("new", State(change.after))
      .Done();
}

}  // namespace

void RenderDiffJson(const TDiff& diff, const TRenderOptions& /*options*/, IOutput& output) {
  output.Write(
      fmt::format("{{\n  \"schema\": {},\n  \"old\": {},\n  \"new\": {},\n  \"changes\": [",
                  kSchema, Side(diff.before, diff.beforeName), Side(diff.after, diff.afterName)));
  std::string_view separator = "\n    ";
  for (const TChange& change : diff.changes) {
    output.Write(separator);
    output.Write(JsonOfChange(change));
    separator = ",\n    ";
  }
  output.Write(diff.changes.empty() ? "],\n" : "\n  ],\n");
  TJsonObject summary;
  for (const EChange kind : {EChange::kChanged, EChange::kAdded, EChange::kRemoved}) {
    summary.Number(NameOf(kind), diff.Count(kind));
  }
  output.Write("  \"summary\": " + summary.Number("same", diff.same).Done() + "\n}\n");
}

// What changed, for a person at a terminal.

namespace {

using TTable = TColumns<6>;

std::string Side(std::string_view word, const TReport& report, const std::string& name) {
  std::string text = fmt::format("{} {}: machine {}, {}", word, PlainLine(name),
                                 CellOf(report.machine.type), UtcTime(report.generated));
  if (report.catalogue.elements) {
    text += fmt::format(", {} update elements", *report.catalogue.elements);
  }
  return text + '\n';
}

// Both texts where they differ.
std::string Step(const std::string& before, const std::string& after) {
  return before == after ? after : before + " → " + after;
}

TTable::TRow RowOfChange(const TChange& change) {
  const TRecord& after = change.after != nullptr ? *change.after : *change.before;
  const TRecord& before = change.before != nullptr ? *change.before : after;
  return {std::string(NameOf(change.kind)),
          CellOf(after.type),
          CellOf(after.name),
          Step(CellOf(before.installed), CellOf(after.installed)),
          Step(CellOf(before.offered), CellOf(after.offered)),
          Step(VerdictCell(before), VerdictCell(after))};
}

void WriteChanges(const TDiff& diff, const TRenderOptions& options, IOutput& output) {
  const TTable::TRow titles = {"CHANGE", "TYPE", "NAME", "INSTALLED", "OFFERED", "VERDICT"};
  TTable table;
  table.Measure(titles);
  for (const TChange& change : diff.changes) table.Measure(RowOfChange(change));
  if (options.width != 0) table.Narrow(options.width);
  output.Write('\n' + table.Line(titles));
  for (const TChange& change : diff.changes) {
    const bool colored = options.color && change.after != nullptr;
    output.Write(
        table.Line(RowOfChange(change), colored ? ColorOf(*change.after) : std::string_view()));
  }
}

std::string LastLine(const TDiff& diff) {
  const std::string same =
      fmt::format("{} record{} the same", diff.same, diff.same == 1 ? " is" : "s are");
  if (diff.changes.empty()) return fmt::format("\nNothing changed: {}.\n", same);
  std::string counts;
  for (const EChange kind : {EChange::kChanged, EChange::kAdded, EChange::kRemoved}) {
    if (const std::size_t count = diff.Count(kind); count > 0) {
      counts += fmt::format("{}{} {}", counts.empty() ? "" : ", ", count, NameOf(kind));
    }
  }
  return fmt::format("\n{}; {}.\n", counts, same);
}

}  // namespace

void RenderDiffTable(const TDiff& diff, const TRenderOptions& options, IOutput& output) {
  output.Write(Side("Old", diff.before, diff.beforeName) + Side("New", diff.after, diff.afterName));
  if (!diff.changes.empty()) WriteChanges(diff, options, output);
  output.Write(LastLine(diff));
}

}  // namespace svc::report
