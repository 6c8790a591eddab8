// The files that were read of a system tree, as a tar archive that others can read in its place.
#ifndef COLLECT_CAPTURE_H_
#define COLLECT_CAPTURE_H_

#include <string>

#include "collect/tree.h"

namespace svc::collect {

// Writes the files that were read of `tree` so far into the tar archive `file`, under the paths by
// which they were read, so that no symbolic link is needed. With `redact` the files that tell
// serial numbers or UUIDs are left out, and the SMBIOS table loses them. Writes
// beside `file` and renames; throws std::runtime_error when that fails.
void WriteCapture(const TTree& tree, bool redact, const std::string& file);

// The file that WriteCapture writes until the archive is whole.
std::string UnfinishedCapture(const std::string& file);

}  // namespace svc::collect

#endif  // COLLECT_CAPTURE_H_
