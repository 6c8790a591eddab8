#include "runtime/acquire/settings.h"

#include <mutex>
#include <utility>

namespace svc::acquire {
namespace {

struct TShared {
  std::mutex mutex;
  TSettings settings;
  TOutcome outcome;
};

TShared& Shared() {
  static TShared shared;
  return shared;
}

}  // namespace

void SetSettings(TSettings settings) {
  const std::scoped_lock lock(Shared().mutex);
  Shared().settings = std::move(settings);
}

TSettings GetSettings() {
  const std::scoped_lock lock(Shared().mutex);
  return Shared().settings;
}

void SetLastOutcome(TOutcome outcome) {
  const std::scoped_lock lock(Shared().mutex);
  Shared().outcome = std::move(outcome);
}

TOutcome LastOutcome() {
  const std::scoped_lock lock(Shared().mutex);
  return Shared().outcome;
}

}  // namespace svc::acquire
