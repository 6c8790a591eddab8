// What makes a shell complete the program's verbs, options and values. Pure functions.
#ifndef SVCHECK_CLI_COMPLETION_H_
#define SVCHECK_CLI_COMPLETION_H_

#include <string>
#include <vector>

#include "svcheck/cli/verb_description.h"

namespace svc {

// The whole script for one shell.
using TCompletionScript = std::string(const std::vector<TCommandDescription>& verbs);

TCompletionScript BashCompletion;
TCompletionScript FishCompletion;
TCompletionScript ZshCompletion;

// What an option's value, or a positional, is.
enum class EValueKind { kNone, kFile, kFolder, kChoice, kOther };
EValueKind KindOf(const TOptionDescription& option);
EValueKind KindOfPositional(const TCommandDescription& command);

// The commands with all below them, each before those below it.
std::vector<const TCommandDescription*> Flattened(const std::vector<TCommandDescription>& commands);

// "repository build" of "svcheck repository build".
std::string WordsOf(const TCommandDescription& command);
// The last of these words.
std::string LastWordOf(const TCommandDescription& command);
// In single quotes, for every shell.
std::string Quoted(const std::string& text);

}  // namespace svc

#endif  // SVCHECK_CLI_COMPLETION_H_
