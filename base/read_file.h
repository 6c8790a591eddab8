// Opening files that somebody named for the program to read. Any thread.
#ifndef BASE_READ_FILE_H_
#define BASE_READ_FILE_H_

#include <cstdio>
#include <string>

#include "base/error.h"

namespace svc::files {

// What is taken beside regular files: with kGiven a pipe that the process was started with, as a
// shell's <(...) or /dev/stdin, and /dev/null.
enum class EPipes { kNone, kGiven };

// Never waits for somebody to write: a pipe with a name, a device and a socket are refused. The
// caller closes the file. Throws TError (kFile).
std::FILE* OpenToRead(const std::string& path, EPipes pipes);

}  // namespace svc::files

#endif  // BASE_READ_FILE_H_
