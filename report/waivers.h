// Records that are accepted as they are: from a waivers file to marks on the records of a report.
// May be called from any thread.
//
// The file is TOML (toml.io), of which it takes the tables `[[waiver]]`, texts on one line, dates
// and comments; docs/waivers.md says what the keys mean.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "report/model.h"

namespace svc::report {

struct TWaiver {
  std::string type;     // Without regard to ASCII case; empty for every type.
  std::string name;     // A pattern of MatchesGlob.
  std::string offered;  // A pattern as well; empty for every version.
  TAcceptance acceptance;
  std::size_t line = 0;  // Of the file, from 1.
};

// Throws TError (kText, with the line) for a text that is no waivers file: what is wrong and what
// to do.
std::vector<TWaiver> ParseWaivers(std::string_view text);

// Whether its name or version is a pattern, and not one text.
bool HasWildcards(const TWaiver& waiver);

// A waiver holds up to the end of its last day (UTC). `now` is in seconds since 1970.
bool HasExpired(const TWaiver& waiver, std::int64_t now);

// Marks the records of the report that are not current and that a waiver is for, as of the time of
// the report; the first waiver that holds counts. Marks that were there before are gone.
void ApplyWaivers(const std::vector<TWaiver>& waivers, TReport& report);

// Patterns of names as people write them in a shell. May be called from any thread.

// How many waivers of a file may have a pattern: each of them is tried for each record.
inline constexpr std::size_t kMostPatterns = 1000;

// In bytes, of a pattern that somebody else wrote: see below.
inline constexpr std::size_t kLongestPattern = 1000;

// Whether the whole text goes by a pattern: "*" stands for any characters or none, "?" for one
// character, everything else for itself without regard to ASCII case. Takes at most
// pattern × text steps, whatever they hold.
bool MatchesGlob(std::string_view pattern, std::string_view text) noexcept;

}  // namespace svc::report
