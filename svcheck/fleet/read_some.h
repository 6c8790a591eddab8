// Reading from a pipe as soon as something is there.
#ifndef SVCHECK_FLEET_READ_SOME_H_
#define SVCHECK_FLEET_READ_SOME_H_

#include <cstddef>
#include <cstdio>
#include <optional>

namespace svc::fleet {

// Reads what there is, at most `size` bytes, past the stream's own buffer; 0 at the end. None, with
// errno set, when it cannot be read.
std::optional<std::size_t> ReadSome(std::FILE* file, char* block, std::size_t size);

// Whether ReadSome would return at once; true also where the system cannot tell.
bool HasSome(std::FILE* file);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_READ_SOME_H_
