// What the program says about itself. Each function writes and returns the exit status.
#ifndef SVCHECK_CLI_HELP_H_
#define SVCHECK_CLI_HELP_H_

#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/cli/verb_description.h"
#include "svcheck/system/failure.h"

namespace svc {

struct TExitStatus {
  int status;
  std::string_view meaning;
};

inline constexpr std::array kExitStatuses = {
    TExitStatus{kExitDone, "done, whatever was found"},
    TExitStatus{kExitFailure, "any failure without a number of its own"},
    TExitStatus{kExitCondition,
                "the condition of --fail-on holds; catalogue lint: there are errors"},
    TExitStatus{
        kExitException,
        "query: an exception left the plug-in; --format nagios: the check did not take place, or "
        "nothing could be compared"},
    TExitStatus{kExitCatalogue,
                "the catalogue is missing, unreadable, too old or not trusted, or the download "
                "failed, also "
                "when something else is wrong as well"},
    TExitStatus{kExitUsage, "the command line or the configuration is wrong"},
};

int PrintProgramHelp(std::FILE* file);
int PrintHelp(const TCommandDescription& command);
// The program's version and the identity of the installed plug-in, where it can be loaded.
int PrintVersion();

// Says that there is no such verb, and which one may have been meant.
std::string UnknownVerb(std::string_view word);

}  // namespace svc

#endif  // SVCHECK_CLI_HELP_H_
