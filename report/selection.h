// Which records of a report are shown, and in which order, where somebody asks for other than all
// of them as the query delivered them; and what changed from one report to another. What the
// records come to stays that of all. Pure functions; may be called from any thread.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "report/model.h"

namespace svc::report {

// The words that hide nothing and change no order.
inline constexpr std::string_view kAllVerdicts = "all";
inline constexpr std::string_view kQueryOrder = "query";
// What records may be sorted by; with "-" in front the other way round.
inline constexpr std::array<std::string_view, 5> kSortKeys = {"type", "name", "verdict",
                                                              "installed", "offered"};

// Hides the records of other verdicts than these. REQUIRES: kAllVerdicts, or names of verdicts
// parted by commas; nothing is hidden yet.
void ShowOnly(TReport& report, std::string_view verdicts);

// Sorts what is shown; what is equal by all keys keeps its order. Versions go by their order where
// they have one and else, like names, by numbers and letters without regard to case; waived records
// stand behind all verdicts. REQUIRES: kQueryOrder, or some of kSortKeys parted by commas.
void Sort(TReport& report, std::string_view keys);

// How many records are hidden; none where all were asked for.
std::optional<std::size_t> CountHidden(const TReport& report);
// "17 records not shown: --only outdated."; empty where none is hidden.
std::string HiddenNotice(const TReport& report);

// What changed from one report to a later one, or from one machine to another. Pure functions; may
// be called from any thread.

enum class EChange { kChanged, kAdded, kRemoved };

constexpr std::string_view NameOf(EChange change) noexcept {
  constexpr std::array<std::string_view, 3> kNames = {"changed", "added", "removed"};
  return kNames[static_cast<std::size_t>(change)];
}

// The records belong to the reports that were compared.
struct TChange {
  EChange kind;
  const TRecord* before;  // Null for an added record.
  const TRecord* after;   // Null for a removed record.
};

// The reports have to outlive it.
struct TDiff {
  const TReport& before;
  const TReport& after;
  std::string beforeName;  // Such as the name of its file.
  std::string afterName;
  std::vector<TChange> changes;  // In the order of the later report, the removed ones last.
  std::size_t same = 0;

  std::size_t Count(EChange kind) const noexcept;
};

// Records of one type and name belong together: first those that are the same, then those that
// offer the same version, then those that found the same one, then the rest in their order.
TDiff CompareReports(const TReport& before, const TReport& after);

// Whether a change made a record so, as FailsOn has it, that was not so before.
bool FailsOn(const TDiff& diff, EFailOn condition) noexcept;

void RenderDiffTable(const TDiff& diff, const TRenderOptions& options, IOutput& output);
// One object; docs/reports.md says which members it has.
void RenderDiffJson(const TDiff& diff, const TRenderOptions& options, IOutput& output);

struct TDiffFormat {
  std::string_view name;
  void (*render)(const TDiff& diff, const TRenderOptions& options, IOutput& output);
};
inline constexpr std::array kDiffFormats = {TDiffFormat{"table", RenderDiffTable},
                                            TDiffFormat{"json", RenderDiffJson}};

}  // namespace svc::report
