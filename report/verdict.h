// What a record's two texts say about the installed version. Pure functions; may be called from any
// thread.
#ifndef REPORT_VERDICT_H_
#define REPORT_VERDICT_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "report/version.h"

namespace svc::report {

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

#endif  // REPORT_VERDICT_H_
