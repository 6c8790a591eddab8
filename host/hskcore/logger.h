// The host's log.
#ifndef HOST_HSKCORE_LOGGER_H_
#define HOST_HSKCORE_LOGGER_H_

#include <string_view>

#include "host/hskcore/export.h"

namespace NQRXHSK20 {

inline constexpr int kLogError = 0;
inline constexpr int kLogWarning = 1;
inline constexpr int kLogProgress = 3;
inline constexpr int kLogTrace = 4;

// The process-wide log. Every operation may be called from any thread. Owned by the host.
class HOST_INTERFACE ILogger {
 public:
  virtual ~ILogger() = default;
  // Writes one entry. The text is copied before the call returns.
  virtual void Log(int level, std::string_view message) = 0;
  // Whether an entry of this level would be kept: asked before a text is composed for it.
  virtual bool IsLogged(int level) const noexcept = 0;
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_LOGGER_H_
