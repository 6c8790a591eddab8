// What a version text is made of. Pure functions; may be called from any thread.
#ifndef REPORT_VERSION_RUNS_H_
#define REPORT_VERSION_RUNS_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace svc::report {

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

}  // namespace svc::report

#endif  // REPORT_VERSION_RUNS_H_
