// How a verb fails: one line for a person and an exit status for programs.
#pragma once

#include <exception>
#include <new>
#include <string>

#include "base/error.h"

namespace svc {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitCondition = 2;  // --fail-on holds.
inline constexpr int kExitException = 3;  // An exception left the plug-in's query.
inline constexpr int kExitCatalogue = 4;  // The catalogue is missing, broken or not trusted.
inline constexpr int kExitUnknown = 3;    // To a monitoring server: nothing is known.
inline constexpr int kExitUsage = 64;     // EX_USAGE of sysexits.h

// The one place that says with which status the program ends for a failure.
constexpr int StatusOf(EErrorKind kind) noexcept {
  switch (kind) {
    case EErrorKind::kUsage:
      return kExitUsage;
    case EErrorKind::kCatalogue:
    case EErrorKind::kRepository:
      return kExitCatalogue;
    case EErrorKind::kUnknown:
      return kExitUnknown;
    default:
      return kExitFailure;
  }
}
inline int StatusOf(const std::exception& error) noexcept {
  const auto* own = dynamic_cast<const TError*>(&error);
  return own != nullptr ? StatusOf(own->Kind()) : kExitFailure;
}

// The kind of a failure that another process tells by its status.
constexpr EErrorKind KindOfStatus(int status) noexcept {
  for (const auto kind : {EErrorKind::kUsage, EErrorKind::kCatalogue, EErrorKind::kUnknown})
    if (StatusOf(kind) == status) return kind;
  return EErrorKind::kFailure;
}

// What an exception says to a person.
inline std::string ReasonOf(const std::exception& error) {
  const bool isMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
  return isMemory ? "out of memory; free some, or give a smaller catalogue" : error.what();
}

// The door of the program and of each of its modules: the status that the action ends with, or that
// of its failure, which `report` is told in words.
template <typename TAction, typename TReport>
int StatusOfRun(const TAction& action, const TReport& report) noexcept {
  try {
    return action();
  } catch (const std::exception& error) {
    report(ReasonOf(error));
    return StatusOf(error);
  }
}

// From the last call on, it is noted when memory runs out: whoever catches the exception may go on
// without what it was needed for.
void WatchMemory() noexcept;
bool HasMemoryRunOut() noexcept;

// Writes "svcheck: ", the text on one line, to standard error.
void ReportError(const std::string& text) noexcept;

// The same for what is good to know beside a result, and says nothing once BeQuiet was called.
void ReportNote(const std::string& text) noexcept;
void BeQuiet() noexcept;
bool IsQuiet() noexcept;

}  // namespace svc
