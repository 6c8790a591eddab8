// What the operating systems do differently for the host itself. May be used from any thread.
#ifndef RUNTIME_HSKCORE_OS_PLATFORM_H_
#define RUNTIME_HSKCORE_OS_PLATFORM_H_

#include <cstdio>
#include <string>

#include "host/hskcore/export.h"

namespace svc {

// Where drive letters lie when the program says nothing.
std::string DefaultDriveRoot();

// What the program set to be taken instead of a path; empty for most.
std::string StandInFile(const std::string& path);

// Opens a file by a path of the system's own, in UTF-8 and of any length, with a mode of the C
// library; null with errno set when it cannot be opened. The caller closes it.
HSKCORE_API std::FILE* OpenNativeFile(const std::string& path, const char* mode);

}  // namespace svc

#endif  // RUNTIME_HSKCORE_OS_PLATFORM_H_
