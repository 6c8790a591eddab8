// Where a precondition that does not hold ends: boost calls these instead of ending the process
// (boost/assert.hpp, BOOST_ENABLE_ASSERT_HANDLER).
#include <boost/assert.hpp>
#include <string>
#include <string_view>

#include "host/hskcore/exception.h"
#include "host/hskcore/export.h"
#include "host/hskcore/root_object.h"

namespace boost {

namespace {

std::string_view FileName(std::string_view path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

[[noreturn]] void Fail(std::string message, const char* file, long line) {
  message.append(" (").append(FileName(file)).append(":").append(std::to_string(line)).append(")");
  NQRXHSK20::TRootObject::GetCoreLogger().Log(NQRXHSK20::kLogError, message);
  throw NQRXHSK20::TAssertionFailed(message);
}

}  // namespace

HSKCORE_API void assertion_failed(char const* expression, char const*, char const* file,
                                  long line) {
  Fail(std::string("Assertion \"") + expression + "\" failed", file, line);
}

HSKCORE_API void assertion_failed_msg(char const* expression, char const* message, char const*,
                                      char const* file, long line) {
  Fail(std::string("Assertion \"") + expression + "\" failed: " + message, file, line);
}

}  // namespace boost
