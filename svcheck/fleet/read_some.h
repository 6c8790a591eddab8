// Opening files that others put there, and reading from a pipe as soon as something is there.
#ifndef SVCHECK_FLEET_READ_SOME_H_
#define SVCHECK_FLEET_READ_SOME_H_

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

namespace svc::fleet {

// Opens a regular file for reading; null, with errno set, for what cannot be opened and for what is
// none. Never waits: a pipe is none.
std::FILE* OpenRegular(const std::string& path);

// Reads what there is, at most `size` bytes, past the stream's own buffer; 0 at the end. None, with
// errno set, when it cannot be read.
std::optional<std::size_t> ReadSome(std::FILE* file, char* block, std::size_t size);

// Whether ReadSome would return at once; true also where the system cannot tell.
bool HasSome(std::FILE* file);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_READ_SOME_H_
