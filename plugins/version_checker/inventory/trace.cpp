#include "plugins/version_checker/inventory/trace.h"

#include <cstdio>
#include <string>

#include "host/hskcore/root_object.h"

using namespace NQRXHSK20;

namespace {

void Log(int level, std::string_view message) { TRootObject::GetCoreLogger().Log(level, message); }

}  // namespace

void LogError(std::string_view message) { Log(kLogError, message); }
void LogWarning(std::string_view message) { Log(kLogWarning, message); }
void LogProgress(std::string_view message) { Log(kLogProgress, message); }
void LogTrace(std::string_view message) { Log(kLogTrace, message); }

void LogJoined(int level, std::initializer_list<std::string_view> pieces) {
  ILogger& logger = TRootObject::GetCoreLogger();
  if (!logger.IsLogged(level)) return;
  std::string message;
  for (const std::string_view piece : pieces) message += piece;
  logger.Log(level, message);
}

void PrintMessage(std::string_view text) {
  std::printf("\n%.*s\n", static_cast<int>(text.size()), text.data());
  std::fflush(stdout);
}
