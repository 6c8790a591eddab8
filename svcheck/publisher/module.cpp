// The module that does the work of "svcheck repository".
#include <exception>

#include "base/shown_text.h"
#include "host/hskcore/export.h"
#include "runtime/acquire/outcome.h"
#include "svcheck/publisher/data_folder.h"
#include "svcheck/publisher/verbs.h"

namespace svc::repository {
namespace {

constexpr int kFailed = 1;
constexpr int kNotTrusted = 4;

int Fail(int status, const std::string& text) {
  ShowLine("svcheck: " + text);
  return status;
}

// Faults of the repository have numbers from 30 on, those of this machine from 40 on.
int StatusOf(acquire::EOutcome outcome) {
  const int number = static_cast<int>(outcome);
  return number >= 30 && number < 40 ? kNotTrusted : kFailed;
}

void Act(TCommand command) {
  if (command.dataFolder.empty()) command.dataFolder = InstalledDataFolder();
  switch (command.action) {
    case EAction::kKeygen:
      return MakeKeys(command);
    case EAction::kBuild:
      return BuildManifest(command);
    case EAction::kSign:
      return SignManifest(command);
    case EAction::kVerify:
      return VerifyRepository(command);
    case EAction::kNone:
      break;
  }
}

int Run(const TCommand& command) {
  try {
    Act(command);
    return 0;
  } catch (const acquire::TFailure& failure) {
    return Fail(StatusOf(failure.Outcome()), failure.what());
  } catch (const std::exception& failure) {
    return Fail(kFailed, failure.what());
  }
}

}  // namespace
}  // namespace svc::repository

extern "C" HOST_EXPORT int SvcRepository(const svc::repository::TCommand& command) noexcept {
  return svc::repository::Run(command);
}
