// What the program says about itself. A function that prints returns the exit status.
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

// --- What is installed beside the program and made by it of its verbs: manual pages in the form of
// man(7), and what makes a shell complete verbs, options and values. Pure functions. ---

// svcheck(1). The date is that of the release, such as "2026-11-21".
std::string ProgramPage(const std::vector<TCommandDescription>& verbs, const std::string& date);
// The page of one verb, its subcommands included: svcheck-check(1).
std::string VerbPage(const TCommandDescription& verb, const std::string& date);
// "svcheck-check"
std::string PageName(const TCommandDescription& command);

// The whole script for one shell.
using TCompletionScript = std::string(const std::vector<TCommandDescription>& verbs);
TCompletionScript BashCompletion;
TCompletionScript FishCompletion;
TCompletionScript ZshCompletion;

}  // namespace svc

#endif  // SVCHECK_CLI_HELP_H_
