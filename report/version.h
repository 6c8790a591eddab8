// Which of two version texts is the later one. Pure functions; may be called from any thread.
#ifndef REPORT_VERSION_H_
#define REPORT_VERSION_H_

#include <array>
#include <compare>
#include <cstddef>
#include <optional>
#include <string_view>

namespace svc::report {

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

}  // namespace svc::report

#endif  // REPORT_VERSION_H_
