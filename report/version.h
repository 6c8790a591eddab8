// Which of two version texts is the later one. Pure functions; may be called from any thread.
#ifndef REPORT_VERSION_H_
#define REPORT_VERSION_H_

#include <compare>
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

}  // namespace svc::report

#endif  // REPORT_VERSION_H_
