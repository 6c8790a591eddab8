// What is installed beside the program and made by it of its verbs: manual pages in the form of
// man(7), and what makes a shell complete verbs, options and values. Pure functions.
#ifndef SVCHECK_CLI_DOCUMENTS_H_
#define SVCHECK_CLI_DOCUMENTS_H_

#include <string>
#include <vector>

#include "svcheck/cli/verb_description.h"

namespace svc {

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

#endif  // SVCHECK_CLI_DOCUMENTS_H_
