// Which records of a report are shown, and in which order, where somebody asks for other than all
// of them as the query delivered them. What the records come to stays that of all. Pure functions;
// may be called from any thread.
#ifndef REPORT_SELECTION_H_
#define REPORT_SELECTION_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

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

}  // namespace svc::report

#endif  // REPORT_SELECTION_H_
