#include "svcheck/command_line.h"

#include <CLI/CLI.hpp>

#include "svcheck/failure.h"

namespace svc {

TCommandLine::TCommandLine(const TVerb& verb)
    : verb(verb),
      app(std::make_unique<CLI::App>(std::string(verb.summary),
                                     "svcheck " + std::string(verb.name))),
      made(verb.make(*app)) {}

TCommandLine::~TCommandLine() = default;

TCommandLine::EAsked TCommandLine::Parse(int count, char** arguments) const {
  try {
    app->parse(count, arguments);
  } catch (const CLI::CallForHelp&) {
    return EAsked::kHelp;
  } catch (const CLI::ParseError& error) {
    throw TFailure(
        std::string(error.what()) + "; see `svcheck " + std::string(verb.name) + " --help`",
        kExitUsage);
  }
  return EAsked::kRun;
}

std::string TCommandLine::Help() const { return app->help(); }

}  // namespace svc
