// The module that does the work of `svcheck catalogue`.
#include <exception>

#include "base/error.h"
#include "host/hskcore/export.h"
#include "svcheck/author/command.h"
#include "svcheck/system/failure.h"

namespace svc::catalogue {

namespace {

int Act(const TCommand& command, const IProgram& program) {
  switch (command.action) {
    case EAction::kLint:
      return LintCatalogue(command, program);
    case EAction::kList:
      return ListCatalogue(command, program);
    case EAction::kBuild:
      return BuildCatalogue(command, program);
    case EAction::kFetch:
      return FetchCatalogue(command, program);
    case EAction::kImport:
    case EAction::kNone:
      break;
  }
  return kExitUsage;
}

}  // namespace

}  // namespace svc::catalogue

extern "C" HOST_EXPORT int SvcCatalogue(const svc::catalogue::TCommand& command,
                                        const svc::catalogue::IProgram& program) noexcept {
  return svc::StatusOfRun([&] { return svc::catalogue::Act(command, program); },
                          [&](const std::string& reason) { program.Report(reason); });
}
