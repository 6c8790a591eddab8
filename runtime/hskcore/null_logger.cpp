#include "runtime/hskcore/null_logger.h"

namespace svc {

NQRXHSK20::ILogger& NullLogger() noexcept {
  static TNullLogger& logger = *new TNullLogger;
  return logger;
}

}  // namespace svc
