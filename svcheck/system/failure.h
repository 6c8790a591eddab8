// How a verb fails: one line for a person and an exit status for programs.
#ifndef SVCHECK_SYSTEM_FAILURE_H_
#define SVCHECK_SYSTEM_FAILURE_H_

#include <exception>
#include <stdexcept>
#include <string>

namespace svc {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitCondition = 2;  // --fail-on holds.
inline constexpr int kExitException = 3;  // An exception left the plug-in's query.
inline constexpr int kExitCatalogue = 4;  // The catalogue is missing, broken or not trusted.
inline constexpr int kExitUsage = 64;     // EX_USAGE of sysexits.h

// The text says what, where and what to do.
class TFailure : public std::runtime_error {
 public:
  explicit TFailure(const std::string& text, int status = kExitFailure)
      : std::runtime_error(text), status(status) {}
  int Status() const noexcept { return status; }

 private:
  int status;
};

// What an exception says to a person.
std::string ReasonOf(const std::exception& error);

// From the last call on, it is noted when memory runs out: whoever catches the exception may go on
// without what it was needed for.
void WatchMemory() noexcept;
bool HasMemoryRunOut() noexcept;

// Writes "svcheck: ", the text on one line, to standard error.
void ReportError(const std::string& text) noexcept;

}  // namespace svc

#endif  // SVCHECK_SYSTEM_FAILURE_H_
