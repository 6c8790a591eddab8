// What a version text is made of, which of two is the later one, and what a record's two say of its
// machine. Pure functions; may be called from any thread.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace svc::report {

// --- The runs of a text ---

// What one run of a version text is, and with what it compares: each with its own kind only.
enum class ERun {
  kEnd,       // Nothing follows.
  kNumber,    // Decimal digits.
  kDay,       // A number of eight digits that is a day: 20240131.
  kHex,       // What stands behind "0x", up to the end of the word.
  kDate,      // 22-Dec-2011, Dec 22 2011; 01/31/2024, month first as SMBIOS and Windows write it.
  kOddDate,   // 31-01-2024 and other numbers that may be a date in more than one way.
  kWord,      // Letters, and the "x" or "*" that stands for any number.
  kRevision,  // The one letter behind a number: the "a" of "1.2a" and "1.2.a".
  kPatch,     // The "p" of "1.9p3" and the "r" of "1.02r6".
  kLettered,  // Another letter between two numbers: the "a" of "1.2a1", perhaps an alpha version.
  kHash       // A checksum, a commit, a bare hexadecimal number: "c47d693", "2b000461".
};

// Characters before a run that say more than that something else begins. One bit each.
enum EMark : unsigned {
  kTilde = 1,   // What follows is, where Debian's rule holds, earlier than what does not.
  kPlus = 2,    // What follows is a build or a repackaging of the same version.
  kBracket = 4  // What follows is a remark. Without meaning at the start of a text.
};

struct TRun {
  ERun kind = ERun::kEnd;
  std::string_view text;
  unsigned marks = 0;      // Those before the run, or before the end.
  std::uint32_t date = 0;  // Of kDate: year, month and day as the digits of one number.

  bool IsZero() const noexcept {
    return kind == ERun::kNumber && marks == 0 && text.find_first_not_of('0') == text.npos;
  }
};

// Walks over the runs of a text, which must outlive the walk. Whatever is no letter, no digit and
// no mark only separates.
class TRuns {
 public:
  explicit TRuns(std::string_view text) noexcept : rest(text) { Advance(); }

  bool AtEnd() const noexcept { return run.kind == ERun::kEnd; }
  const TRun& Run() const noexcept { return run; }
  // After the end there is the end again.
  void Advance() noexcept;

 private:
  void ReadFirstOfWord(std::string_view separators) noexcept;
  void ReadPart(std::string_view separators) noexcept;
  void Take(ERun kind, std::size_t length, std::size_t prefix = 0) noexcept;

  std::string_view rest;
  TRun run;
  bool isFirst = true;
};

// What three numbers parted by dots, dashes or slashes, the year last, can be. 0 where they cannot.
struct TDateReadings {
  std::uint32_t dayFirst = 0;    // The date, as in TRun.
  std::uint32_t monthFirst = 0;  // The same.
  std::uint32_t version = 0;     // Orders them by the first number, the second and the third.

  bool AreAny() const noexcept { return dayFirst != 0 || monthFirst != 0; }
};

TDateReadings ReadDate(std::string_view text) noexcept;

// Whether a text has the form of a firmware build id, such as YUOO99A: the letters of a series, a
// number of two or three digits, the letters of a revision; or a series of four letters and digits.
bool IsBuildId(std::string_view text) noexcept;

// Length of the series of a build id; 0 when the text is none.
std::size_t SeriesLength(std::string_view text) noexcept;

// --- Which of two is the later one ---

// Why two texts have no order.
enum class EUnordered {
  kNothingInstalled,  // No version was read.
  kNothingOffered,
  kNoBuild,  // "1.00 ()": the version may be the same text on both sides, the build is absent.
  kContradiction,  // The version says earlier, the build later, or the other way round.
  kForms,   // A build id and a version, a letter and a number, a number with "0x" and one without.
  kSeries,  // Build ids of two series, or of one revision in two languages.
  kWords,   // Two words, of which neither is known to come first.
  kAddition,  // One text ends where the other has more, which may be earlier, later or neither.
  kDates,     // A date and a number, or dates that leave open what is the day.
  kHash       // Checksums, commits, hexadecimal numbers that could be something else.
};

inline constexpr std::array<std::string_view, 10> kUnorderedTexts = {
    "no installed version was read",
    "no version is offered",
    "no build stands beside the version",
    "version and build contradict each other",
    "the texts are of different forms",
    "the build ids are of different series",
    "the words in them have no order",
    "one of them has an addition that may be earlier or later",
    "the dates in them cannot be compared",
    "checksums and hexadecimal texts have no order"};
static_assert(kUnorderedTexts.size() == static_cast<std::size_t>(EUnordered::kHash) + 1);

// For a person, behind "unknown: ".
constexpr std::string_view TextOf(EUnordered why) noexcept {
  return kUnorderedTexts[static_cast<std::size_t>(why)];
}

std::optional<EUnordered> UnorderedOfText(std::string_view text) noexcept;

// An order, or why there is none.
class TVersionOrder {
 public:
  constexpr TVersionOrder(std::weak_ordering order) noexcept : order(order) {}
  constexpr TVersionOrder(EUnordered why) noexcept : why(why) {}

  constexpr explicit operator bool() const noexcept { return order.has_value(); }
  // REQUIRES: there is an order.
  constexpr std::weak_ordering operator*() const noexcept { return *order; }
  // REQUIRES: there is none.
  constexpr EUnordered Why() const noexcept { return why; }

 private:
  std::optional<std::weak_ordering> order;
  EUnordered why = EUnordered::kForms;
};

// Orders two versions as alternating runs of digits (by value) and letters (without regard to
// case); whatever else stands between them separates. Zeros at an end do not count: "1.2" is
// "1.2.0". What can be read in two ways is ordered only where both agree. The forms, and what each
// compares with, are listed in docs/reports.md.
TVersionOrder CompareVersions(std::string_view left, std::string_view right) noexcept;

// "6.1.0-47-amd64": the release of a kernel, which drivers of its tree go by. A driver that counts
// for itself cannot be told from it as newer or older.
bool IsKernelRelease(std::string_view text) noexcept;

// What a record's two texts say about the installed version. Pure functions; may be called from any
// thread.

enum class EVerdict {
  kOutdated,  // A later version is offered.
  kUnknown,   // Nothing installed was read, or the two texts have no order.
  kNewer,     // The installed version is later than the offered one.
  kCurrent
};

// In the order in which a person wants to read them.
inline constexpr std::array kVerdicts = {EVerdict::kOutdated, EVerdict::kUnknown, EVerdict::kNewer,
                                         EVerdict::kCurrent};

constexpr std::size_t IndexOf(EVerdict verdict) noexcept {
  return static_cast<std::size_t>(verdict);
}

constexpr std::string_view NameOf(EVerdict verdict) noexcept {
  constexpr std::array<std::string_view, kVerdicts.size()> kNames = {"outdated", "unknown", "newer",
                                                                     "current"};
  return kNames[IndexOf(verdict)];
}

std::optional<EVerdict> VerdictOfName(std::string_view name) noexcept;

struct TJudgement {
  EVerdict verdict = EVerdict::kUnknown;
  // Why it is kUnknown; otherwise none.
  std::optional<EUnordered> why;
};

// Compares an installed with an offered text. The forms that the comparisons write are taken apart
// first: "1.00 (YUOO99A) " is a version and a build, "-[YUOO99A-1.10]-" a build and a version;
// "YUOO99A - 1.10" is a build and a version on the installed side, and what stands on the offered
// side has the opposite order.
TJudgement JudgeWithReason(std::string_view installed, std::string_view offered) noexcept;

// The verdict alone.
EVerdict JudgeTexts(std::string_view installed, std::string_view offered) noexcept;

}  // namespace svc::report
