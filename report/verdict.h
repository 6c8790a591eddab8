// Which of two version texts is the later one. Pure functions; may be called from any thread.
#ifndef REPORT_VERDICT_H_
#define REPORT_VERDICT_H_

#include <array>
#include <compare>
#include <cstddef>
#include <optional>
#include <string_view>

namespace svc::report {

// Whether a text has the form of a firmware build id, such as YUOO99A: the letters of a series, a
// number of two or three digits, the letters of a revision; or a series of four letters and digits.
bool IsBuildId(std::string_view text) noexcept;

// Orders two versions as alternating runs of digits (by value) and letters (without regard to
// case); whatever else stands between them only separates. Zeros at an end do not count: "1.2" is
// "1.2.0". None when the texts have no common order: a build id and a version, build ids or words
// of two series, a digit against a letter, a checksum, a word such as "rc1" against nothing.
std::optional<std::weak_ordering> CompareVersions(std::string_view left,
                                                  std::string_view right) noexcept;

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

// Compares an installed with an offered text. The forms that the comparisons write are taken apart
// first: "1.00 (YUOO99A) " is a version and a build, "-[YUOO99A-1.10]-" a build and a version;
// "YUOO99A - 1.10" is a build and a version on the installed side, and what stands on the offered
// side has the opposite order.
EVerdict JudgeTexts(std::string_view installed, std::string_view offered) noexcept;

}  // namespace svc::report

#endif  // REPORT_VERDICT_H_
