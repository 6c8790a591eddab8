// What the program says about itself. Each function writes and returns the exit status.
#ifndef SVCHECK_HELP_H_
#define SVCHECK_HELP_H_

#include <cstdio>
#include <string>
#include <string_view>

#include "svcheck/verb.h"

namespace svc {

int PrintProgramHelp(std::FILE* file);
// `options` is what the command line says of the verb's options.
int PrintVerbHelp(const TVerb& verb, std::string options);
// The program's version and the identity of the installed plug-in, where it can be loaded.
int PrintVersion();

// Says that there is no such verb, and which one may have been meant.
std::string UnknownVerb(std::string_view word);

}  // namespace svc

#endif  // SVCHECK_HELP_H_
