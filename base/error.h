// The one way in which the program's own parts fail. (What plug-ins see are the exceptions of
// host/hskcore/exception.h.) A value; may be thrown from any thread and through any module.
#pragma once

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <system_error>

namespace svc {

// What a failure means to whoever started the program: decides its exit status, and with the number
// what advice helps.
enum class EErrorKind {
  kFailure,     // Anything without a kind of its own.
  kUsage,       // The command line or the configuration is wrong.
  kCatalogue,   // The catalogue is missing, broken or not trusted.
  kUnknown,     // Nothing is known of the machine: what a monitoring server asks for.
  kFile,        // A file could not be found, made or written. Number: a value of errno.
  kText,        // A text is not what it must be. Number: its line, from 1.
  kDownload,    // A download cannot be done. Number: an acquire::EOutcome.
  kRepository,  // What is offered for download is broken or not trusted. Number as before.
};

// The text is for people: what happened, where, what to do. That of kFile and kText says the reason
// alone; who catches it knows which file was meant.
class TError : public std::runtime_error {
 public:
  explicit TError(const std::string& text, EErrorKind kind = EErrorKind::kFailure, int number = 0)
      : std::runtime_error(text), kind(kind), number(number) {}

  EErrorKind Kind() const noexcept { return kind; }
  int Number() const noexcept { return number; }

 private:
  EErrorKind kind;
  int number;
};

// Of a failed call that set errno.
inline TError FileError(int number, const std::string& reason) {
  return TError(reason, EErrorKind::kFile, number);
}
inline TError FileError(int number) {
  return FileError(number, std::generic_category().message(number));
}

// Whether it is for want of room: on the disk, or in what its user may take of it (EDQUOT, a number
// that Windows does not have).
inline bool IsWantOfRoom(const TError& error) noexcept {
  if (error.Kind() != EErrorKind::kFile) return false;
#ifdef EDQUOT
  if (error.Number() == EDQUOT) return true;
#endif
  return error.Number() == ENOSPC;
}

// Does what the action does. Where that throws a TThrown, throws what `told` makes of it: in words
// that name what only the caller knows, such as the file.
template <typename TThrown = TError, typename TAction, typename TTold>
decltype(auto) Retold(const TAction& action, const TTold& told) {
  try {
    return action();
  } catch (const TThrown& error) {
    throw told(error);
  }
}

// Of a line, from 1.
inline TError TextError(std::size_t line, const std::string& reason) {
  return TError(reason, EErrorKind::kText, static_cast<int>(line));
}

}  // namespace svc
