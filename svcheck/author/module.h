// What each of the author's verbs does, once its command line is understood. Each returns the exit
// status and throws TError.
#ifndef SVCHECK_AUTHOR_MODULE_H_
#define SVCHECK_AUTHOR_MODULE_H_

#include <string>

#include "svcheck/author/command.h"

namespace svc::catalogue {

int LintCatalogue(const TCommand& command, const IProgram& program);
int ListCatalogue(const TCommand& command, const IProgram& program);
int BuildCatalogue(const TCommand& command, const IProgram& program);
int FetchCatalogue(const TCommand& command, const IProgram& program);

// What build and fetch share.

// Makes the folder where it is missing, and puts the text in the place of its index.xml, whole.
// Returns the path of that.
std::string WriteIndex(const std::string& folder, const std::string& text, const IProgram& program);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_MODULE_H_
