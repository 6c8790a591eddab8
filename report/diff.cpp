#include "report/selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "base/shown_text.h"
#include "report/records.h"
#include "report/table.h"
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

// Pairs records of equal keys, in their order. Both sides are sorted, which takes a few bytes a
// record: reports are long, and their records short.
template <typename TKeyOf>
void PairBy(const TKeyOf& keyOf, const TReport& after, TPairing& pairing) {
  std::vector<const TRecord**> early;
  for (const TRecord*& record : pairing.left) {
    if (record != nullptr) early.push_back(&record);
  }
  std::vector<std::size_t> late;
  for (std::size_t i = 0; i < pairing.partners.size(); ++i) {
    if (pairing.partners[i] == nullptr) late.push_back(i);
  }
  const auto keyOfEarly = [&](const TRecord* const* record) { return keyOf(**record); };
  const auto keyOfLate = [&](std::size_t i) { return keyOf(after.records[i]); };
  std::ranges::stable_sort(early, {}, keyOfEarly);
  std::ranges::stable_sort(late, {}, keyOfLate);
  auto next = early.begin();
  for (const std::size_t i : late) {
    const auto key = keyOfLate(i);
    while (next != early.end() && keyOfEarly(*next) < key) ++next;
    if (next == early.end()) return;
    if (keyOfEarly(*next) == key) pairing.partners[i] = std::exchange(**next++, nullptr);
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

// --- What changed, for programs ---

static void WriteSide(const TReport& report, const std::string& name, TJsonWriter& json) {
  json.Object().Text("file", name).Text("generated", UtcTime(report.generated));
  WriteMachine(report.machine, json.Name("machine"));
  WriteSystem(report.system, json.Name("operatingSystem"));
  WriteCatalogue(report.catalogue, json.Name("catalogue"));
  json.Text("outcome", RowOf(report.outcome).name).End();
}

static void WriteState(const TRecord* record, TJsonWriter& json) {
  if (record == nullptr) {
    json.Null();
    return;
  }
  json.Object().Text("InstalledVersion", record->installed).Text("SVVersion", record->offered);
  AddVerdict(*record, json);
  json.End();
}

static void WriteChange(const TChange& change, TJsonWriter& json) {
  const TRecord& record = change.after != nullptr ? *change.after : *change.before;
  json.Object().Text("change", NameOf(change.kind));
  json.Text("Type", record.type).Text("Name", record.name);
  WriteState(change.before, json.Name("old"));
  WriteState(change.after, json.Name("new"));
  json.End();
}

void RenderDiffJson(const TDiff& diff, const TRenderOptions& /*options*/, IOutput& output) {
  std::string text;
  TJsonWriter json(text);
  json.Object(kJsonDocument).Number("schema", kSchema);
  WriteSide(diff.before, diff.beforeName, json.Name("old"));
  WriteSide(diff.after, diff.afterName, json.Name("new"));
  json.List("changes", kJsonRows);
  for (const TChange& change : diff.changes) {
    WriteChange(change, json);
    output.Write(text);
    text.clear();
  }
  json.End().Object("summary");
  for (const EChange kind : {EChange::kChanged, EChange::kAdded, EChange::kRemoved}) {
    json.Number(NameOf(kind), diff.Count(kind));
  }
  json.Number("same", diff.same).End().End();
  output.Write(text + '\n');
}

// --- What changed, for a person at a terminal ---

namespace {

using TChanges = TTable<6>;

std::string Side(std::string_view word, const TReport& report, const std::string& name) {
  const std::string& host = report.machine.host;
  std::string text =
      fmt::format("{} {}: machine {}{}, {}", word, PlainLine(name), CellOf(report.machine.type),
                  host.empty() ? "" : ", host " + PlainLine(host), UtcTime(report.generated));
  if (report.catalogue.elements) {
    text += ", " + Counted(*report.catalogue.elements, "update element");
  }
  return text + '\n';
}

// Both texts where they differ.
std::string Step(const std::string& before, const std::string& after) {
  return before == after ? after : before + " → " + after;
}

TChanges::TRow RowOfChange(const TChange& change) {
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
  TChanges table({"CHANGE", "TYPE", "NAME", "INSTALLED", "OFFERED", "VERDICT"});
  for (const TChange& change : diff.changes) table.Measure(RowOfChange(change));
  if (options.width != 0) table.Narrow(options.width);
  output.Write('\n' + table.Heads());
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
