// What a check found: the one model that every report format shows. Plain values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "report/text.h"
#include "report/version.h"

namespace svc::report {

inline constexpr int kSchema = 1;

// How a check ended.
enum class EOutcome {
  kDone,                  // Compared; the records may be none.
  kNothingApplicable,     // The catalogue offers nothing for this machine.
  kEmptyCatalogue,        // The catalogue holds no update elements.
  kNoCatalogue,           // There is no catalogue at that place.
  kUnsupportedCatalogue,  // The catalogue is older than what can be read.
  kUnreadableCatalogue,   // The catalogue is broken.
  kDownloadFailed,        // The repository could not be reached or was not trusted.
  kNoUpdates,             // The download left nothing to read.
  kUnsupportedSystem,     // The repository knows no such operating system.
  kUnknownMachine,        // The inventory does not tell the machine type.
  kNoDefinitions,         // The catalogue's class definitions cannot be read.
  kFailed                 // Anything else.
};

struct TOutcomeRow {
  EOutcome outcome;
  std::string_view name;
  std::string_view sentence;
};
inline constexpr std::array kOutcomes = {
    TOutcomeRow{EOutcome::kDone, "done", "The machine was compared with the catalogue."},
    TOutcomeRow{EOutcome::kNothingApplicable, "nothing-applicable",
                "The catalogue offers nothing for this machine."},
    TOutcomeRow{EOutcome::kEmptyCatalogue, "empty-catalogue",
                "The catalogue holds no update elements."},
    TOutcomeRow{EOutcome::kNoCatalogue, "no-catalogue", "There is no catalogue at that place."},
    TOutcomeRow{EOutcome::kUnsupportedCatalogue, "unsupported-catalogue",
                "The catalogue is older than version 4.02."},
    TOutcomeRow{EOutcome::kUnreadableCatalogue, "unreadable-catalogue",
                "The catalogue cannot be read."},
    TOutcomeRow{EOutcome::kDownloadFailed, "download-failed",
                "The catalogue could not be downloaded."},
    TOutcomeRow{EOutcome::kNoUpdates, "no-updates", "The download brought no update information."},
    TOutcomeRow{EOutcome::kUnsupportedSystem, "unsupported-system",
                "Live checks do not know this operating system."},
    TOutcomeRow{EOutcome::kUnknownMachine, "unknown-machine",
                "The inventory does not tell the machine type."},
    TOutcomeRow{EOutcome::kNoDefinitions, "no-definitions",
                "The definitions of the catalogue cannot be read."},
    TOutcomeRow{EOutcome::kFailed, "failed", "The check failed."}};

constexpr const TOutcomeRow& RowOf(EOutcome outcome) noexcept {
  return kOutcomes[static_cast<std::size_t>(outcome)];
}

// Whether the comparison took place, with whatever result.
constexpr bool WasCompared(EOutcome outcome) noexcept {
  return outcome == EOutcome::kDone || outcome == EOutcome::kNothingApplicable ||
         outcome == EOutcome::kEmptyCatalogue;
}

// What a check found, in a word: how it ended says nothing of whether anything could be compared.
enum class EState {
  kUpdates,          // At least one record is outdated.
  kCurrent,          // Some record could be ordered, and none is outdated.
  kNothingCompared,  // There is no record, or none that could be ordered.
  kFailed            // The check did not take place.
};

constexpr std::string_view NameOf(EState state) noexcept {
  constexpr std::array<std::string_view, 4> kNames = {"updates", "current", "nothing-compared",
                                                      "failed"};
  return kNames[static_cast<std::size_t>(state)];
}

// Why a record is accepted as it is.
struct TAcceptance {
  std::string reason;
  std::string expires;  // A day, 2027-06-30; empty for never.
};

// What a public catalogue tells of an offered release; what it does not tell is empty.
struct TRelease {
  std::string urgency;  // "low", "medium", "high", "critical"
  std::string date;     // 2027-06-30
  std::string notes;    // Lines of plain text.
};

// Whether the urgency is that much or more; one that is not told is less than each.
bool IsUrgent(const TRelease& release, std::string_view atLeast) noexcept;

// The element of the catalogue that brings what a record offers; it may bring more than that.
struct TUpdate {
  std::string name;
  std::string package;   // Its folder among the packages; empty where the catalogue names none.
  std::string file;      // Of the catalogue.
  std::size_t line = 0;  // Of that file, from 1.
};

struct TRecord {
  std::string type;
  std::string name;
  std::string installed;
  std::string offered;
  EVerdict verdict = EVerdict::kUnknown;
  std::optional<TAcceptance> waived;
  std::optional<TAcceptance> expiredWaiver = {};  // Accepted up to a day that is past.
  std::optional<EUnordered> why = {};             // The verdict is kUnknown, where that is known.
  std::optional<TRelease> release = {};
  // Where whoever wrote the record compared the two texts as their maker counts.
  std::optional<EVerdict> compared = {};
  // It is the same driver built anew: what it was built of is the same on both sides.
  bool hasSameSource = false;
  // Null where it is not known. Records of one element may share it.
  std::shared_ptr<const TUpdate> update = {};
};

// Why what is installed has no record.
enum class EPassedOver { kNoVersion, kNotOffered, kOtherMachine, kOtherSystem, kNotRunning };

struct TPassedOverRow {
  EPassedOver why;
  std::string_view name;
  std::string_view one;   // Of one piece, behind "1".
  std::string_view many;  // Of more.
};
inline constexpr std::array kPassedOver = {
    TPassedOverRow{EPassedOver::kNoVersion, "no-version", "states no version", "state no version"},
    TPassedOverRow{EPassedOver::kNotOffered, "not-offered", "is offered nowhere",
                   "are offered nowhere"},
    TPassedOverRow{EPassedOver::kOtherMachine, "other-machine", "is offered for other machines",
                   "are offered for other machines"},
    TPassedOverRow{EPassedOver::kOtherSystem, "other-system", "is offered for other systems",
                   "are offered for other systems"},
    TPassedOverRow{EPassedOver::kNotRunning, "not-running", "does not run", "do not run"}};

constexpr const TPassedOverRow& RowOf(EPassedOver why) noexcept {
  return kPassedOver[static_cast<std::size_t>(why)];
}
std::optional<EPassedOver> PassedOverOfName(std::string_view name) noexcept;

// A text that many may hold: there is one copy of it. An inventory may state a long one once for
// all its drivers.
class TOneText {
 public:
  TOneText() = default;
  TOneText(std::string text) : text(std::make_shared<const std::string>(std::move(text))) {}
  TOneText(const char* text) : TOneText(std::string(text)) {}

  operator std::string_view() const noexcept { return text ? *text : std::string_view(); }
  bool empty() const noexcept { return !text || text->empty(); }

 private:
  std::shared_ptr<const std::string> text;
};

// Something that is installed and has no record.
struct TPiece {
  std::string type;  // As that of records.
  TOneText name;     // So, too.
  TOneText version;  // Empty when none is stated.
  EPassedOver why = EPassedOver::kNotOffered;
};

// How much of what is installed was compared.
struct TCoverage {
  std::size_t installed = 0;  // All of it.
  std::vector<TPiece> notCompared;
};

struct TMachine {
  std::string type;
  std::string manufacturer;
  std::string model;
  std::string serialNumber;
  std::string host = {};  // Its name in the network.
};

struct TOperatingSystem {
  std::string caption;
  std::string version;
  std::string platform;
};

struct TCatalogue {
  std::string source;  // "folder" or "live"
  std::string path;    // Of the folder, or the address of the repository.
  std::optional<std::uint64_t> elements;
  std::optional<std::int64_t> modified;   // Seconds since 1970, when this copy was written.
  std::optional<std::int64_t> date = {};  // The catalogue's own, whenever it was copied.

  // The day that its age counts from.
  std::optional<std::int64_t> Date() const noexcept { return date ? date : modified; }
};

struct TPhase {
  std::string name;
  double seconds = 0;
};

// What a file of metrics keeps when the check that would write it anew counts nothing.
struct TKeptMetrics {
  std::string counts;  // As they stood there.
  std::optional<std::int64_t> lastSuccess;
};

// Of a file that RenderPrometheus wrote; nothing of any other text.
TKeptMetrics MetricsToKeep(std::string_view file);

class IRecordSource;

// Which records are shown.
struct TShownRecords {
  std::vector<std::size_t> numbers;  // Of the records, in the order in which they are shown.
  std::string only;  // The verdicts that were asked for, parted by commas; empty for all.
};

struct TReport {
  std::string tool;
  std::string toolVersion;
  std::string plugin;
  std::string pluginVersion;
  std::int64_t generated = 0;  // Seconds since 1970.
  TMachine machine;
  TOperatingSystem system;
  TCatalogue catalogue;
  EOutcome outcome = EOutcome::kFailed;
  // Read through RecordsOf: where there is a source, the records are those of the source.
  std::vector<TRecord> records;
  std::shared_ptr<const IRecordSource> source;
  std::vector<std::string> errors;
  bool hasWaivers = false;  // Whether waivers were asked for, matching or not.
  // Why nothing was compared, where more is known of it than the outcome tells.
  std::string nothingComparedBecause;
  // Whether catalogues have a code for the system; none where no inventory was read.
  std::optional<bool> osKnown;
  // Records of drivers that were left out, where that was asked for, the system having no code.
  std::optional<std::size_t> driversLeftOut;
  std::optional<TCoverage> coverage;  // None where it was not looked at.
  TKeptMetrics kept;                  // Of the file of metrics that the report replaces.
  std::vector<TPhase> timings;        // Empty unless asked for.
  // None where all records are shown, as they come. Counts and conditions are always of all.
  std::optional<TShownRecords> shown;
};

// Records counted by verdict; the waived ones apart.
struct TSummary {
  std::array<std::size_t, kVerdicts.size()> verdicts{};
  std::size_t waived = 0;
  std::size_t expiredWaivers = 0;  // Of records that are counted by their verdict again.
  std::size_t compared = 0;        // Could be ordered, waived or not.

  std::size_t Of(EVerdict verdict) const noexcept { return verdicts[IndexOf(verdict)]; }
  std::size_t Total() const noexcept;
  void Add(const TRecord& record) noexcept;
};

TSummary Summarize(const TReport& report);

// What there is to install: the update elements of what is outdated and not waived, each once, and
// those that bring the drivers of one kernel (report/records.h) once together; of other records
// whose element is not known, each counts.
std::size_t CountUpdates(const TReport& report);
// The name of an update element, or else its place.
std::string TitleOf(const TUpdate& update);

// "5 outdated, 2 unknown, 1 newer, 12 current, 2 waived; 1 waiver has expired"; only what there is.
std::string Sentence(const TSummary& summary);

// Waived records are no updates to install, but could be compared.
EState StateOf(const TReport& report, const TSummary& summary) noexcept;
// Why nothing was compared, as a clause, or why the check failed; empty for the other states.
std::string StateReason(const TReport& report, const TSummary& summary);

std::optional<EOutcome> OutcomeOfName(std::string_view name) noexcept;

// What makes an exit status of 2: any of these conditions, which add up.
enum class EFailOn : unsigned {
  kNone = 0,
  kOutdated = 1,  // A record has the verdict.
  kUnknown = 2,
  kNewer = 4,
  kNothing = 8,  // Nothing was compared.
  kDifferent = 15
};
constexpr EFailOn operator|(EFailOn one, EFailOn other) noexcept {
  return static_cast<EFailOn>(static_cast<unsigned>(one) | static_cast<unsigned>(other));
}
constexpr bool Includes(EFailOn conditions, EFailOn one) noexcept {
  return (static_cast<unsigned>(conditions) & static_cast<unsigned>(one)) != 0;
}
// Of names parted by commas; nothing for a text that is none.
std::optional<EFailOn> FailOnOfText(std::string_view text) noexcept;

bool FailsOn(const TRecord& record, EFailOn conditions) noexcept;
bool FailsOn(const TReport& report, EFailOn conditions);

// From the report model to a report format: one function a format. They write as they go,
// so that a long report takes no memory in proportion. May be called from any thread.

// Where a report goes. Write may throw; nothing is written after that.
class IOutput {
 public:
  virtual ~IOutput() = default;
  virtual void Write(std::string_view text) = 0;
};

struct TRenderOptions {
  bool color = false;               // Of the table.
  std::size_t width = 0;            // Columns that the table is cut to; 0 for no cut.
  EFailOn failOn = EFailOn::kNone;  // What the nagios line calls critical.
  ECsvTexts csv = ECsvTexts::kSafe;
  bool csvNotCompared = false;               // Rows of what was not compared as well.
  std::optional<std::uint64_t> maxAge = {};  // Of the catalogue, in days.
  bool unfold = false;                       // A line of the table for each driver of a kernel.
};

// What a reader has to know of a check that took place, a sentence each: that nothing tells the
// system, that the catalogue is older than the options allow.
std::vector<std::string> Notices(const TReport& report, const TRenderOptions& options);
bool IsCatalogueTooOld(const TReport& report, const TRenderOptions& options) noexcept;
// "26 installed pieces: 6 compared, 20 not: 20 state no version."
std::string Sentence(const TCoverage& coverage);
std::array<std::size_t, kPassedOver.size()> CountsOf(const TCoverage& coverage) noexcept;

void RenderTable(const TReport& report, const TRenderOptions& options, IOutput& output);
// One object; docs/reports.md says which members it has.
void RenderJson(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderNdjson(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderCsv(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderHtml(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderJunit(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderNagios(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderPrometheus(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderCycloneDx(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderSarif(const TReport& report, const TRenderOptions& options, IOutput& output);

struct TFormat {
  std::string_view name;
  void (*render)(const TReport& report, const TRenderOptions& options, IOutput& output);
  bool isOfAll = false;  // For a monitoring server: no record is left out of it or moved.
};
inline constexpr std::array kFormats = {
    TFormat{"table", RenderTable},         TFormat{"json", RenderJson},
    TFormat{"ndjson", RenderNdjson},       TFormat{"csv", RenderCsv},
    TFormat{"html", RenderHtml},           TFormat{"junit", RenderJunit},
    TFormat{"nagios", RenderNagios, true}, TFormat{"prometheus", RenderPrometheus, true},
    TFormat{"cyclonedx", RenderCycloneDx}, TFormat{"sarif", RenderSarif}};

// Null for an unknown name.
const TFormat* FormatOfName(std::string_view name) noexcept;

inline constexpr int kNagiosUnknown = 3;
// What a nagios plug-in exits with: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN.
int NagiosStatus(const TReport& report, const TRenderOptions& options);

}  // namespace svc::report
