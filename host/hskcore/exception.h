// What a host call throws when it fails.
#ifndef HOST_HSKCORE_EXCEPTION_H_
#define HOST_HSKCORE_EXCEPTION_H_

#include <exception>
#include <string>
#include <utility>

#include "host/hskcore/export.h"
#include "host/hskcore/status.h"

namespace NQRXHSK20 {

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
