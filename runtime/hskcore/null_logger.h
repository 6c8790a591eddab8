// A log that keeps nothing. May be used from any thread.
#ifndef RUNTIME_HSKCORE_NULL_LOGGER_H_
#define RUNTIME_HSKCORE_NULL_LOGGER_H_

#include <string_view>

#include "host/hskcore/logger.h"

namespace svc {

class TNullLogger final : public NQRXHSK20::ILogger {
 public:
  void Log(int, std::string_view) override {}
  bool IsLogged(int) const noexcept override { return false; }
};

// The process's one; never destroyed.
HSKCORE_API NQRXHSK20::ILogger& NullLogger() noexcept;

}  // namespace svc

#endif  // RUNTIME_HSKCORE_NULL_LOGGER_H_
