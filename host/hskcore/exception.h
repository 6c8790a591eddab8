// What a host call throws when it fails, and the status codes that it may fail with.
#ifndef HOST_HSKCORE_EXCEPTION_H_
#define HOST_HSKCORE_EXCEPTION_H_

#include <exception>
#include <string>
#include <utility>

#include "host/hskcore/export.h"

namespace NQRXHSK20 {

// Carried by THSKException. The numbers are part of the host's interface and never change.
enum class THSKStatusCode : int {
  kFailed = 1,               // Anything without a code of its own; the text says what.
  kNoBuffer = 4,             // No memory for the contents of a file.
  kUnsupportedDialect = 9,   // The catalogue is older than the dialect that was asked for.
  kFileUnreadable = 11,      // A file cannot be opened or read.
  kNoSuchProperty = 12,      // An instance has no property of that name.
  kTypeMismatch = 13,        // A value cannot be converted to the type that was asked for.
  kClassNotFound = 15,       // A namespace has no class of that name.
  kFileNotFound = 26,        // A file does not exist.
  kMissingContextEntry = 32  // A query lacks a context entry that it needs.
};

// A failure with a text for people and a status code for programs. A value; may be copied and
// thrown from any thread.
class HOST_INTERFACE THSKException : public std::exception {
 public:
  THSKException(std::string message, THSKStatusCode status)
      : message(std::move(message)), status(status) {}

  const std::string& GetMessageText() const noexcept { return message; }
  THSKStatusCode GetStatusCode() const noexcept { return status; }
  const char* what() const noexcept override { return message.c_str(); }

 private:
  std::string message;
  THSKStatusCode status;
};

// What the host's assertion handler throws when a precondition such as "px != 0" (an empty handle
// was used) does not hold. No THSKException: it means a defect, not an outcome, and no handler for
// outcomes may take it for one.
class HOST_INTERFACE TAssertionFailed : public std::exception {
 public:
  explicit TAssertionFailed(std::string message) : message(std::move(message)) {}
  const char* what() const noexcept override { return message.c_str(); }

 private:
  std::string message;
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_EXCEPTION_H_
